// The machine's interfaces and addresses as the network collectors find them.
//
// Every function asks the machine under scan (machine.h), so commands may run and name servers be
// waited for: two seconds for a name and eight for all of an enumeration. When one does not answer
// in that time, no name is looked up in the process for the next thirty seconds, in which the other
// groups of a scan are collected, or until another machine is scanned; addresses are then without.
// Nothing here locks: an enumerator and an interface list belong to one thread. Texts in objects
// are never cut; what is written into a caller's buffer has its room stated. Unless stated
// otherwise a text that was not found is empty and null pointers are no arguments.
#pragma once

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <invscan/export.h>

struct nlmsghdr;

namespace invscan {
class AddressKnowledge;
}

// One IPv6 address of an interface.
struct IPv6_entry {
  std::string address;   // followed by '/' and its prefix length
  std::string scope;     // as getScope() tells it
  std::string extra[2];  // not filled
  int number = -1;       // not filled
};

// One interface. Of its ten texts four are filled; the others are carried along for hosts.
struct IfInfo {
  enum Member { kName = 0, kIPv4 = 3, kIPv6 = 4, kHardware = 5, kMembers = 10 };

  // A text, empty when there is none.
  INVSCAN_EXPORT const std::string& text(Member member) const;

  // kName: the interface's name. kIPv4: the last IPv4 address seen. kIPv6: the last IPv6 address
  // seen, with its prefix length. kHardware: six upper-case pairs joined by ':', or the text as the
  // source printed it when that is no such address; it may then end in blanks.
  std::optional<std::string> texts[kMembers];
  std::list<IPv6_entry> ipv6;
};

class IfInfoList;

// The entry of that name, or null. Takes the same time however long the list is.
INVSCAN_EXPORT const IfInfo* find_if(const char* name, const IfInfoList& list);

// The first entry that has this IPv4 address; null when there is none, or the address is null or
// empty. The first call after an add() goes through the list, the others do not.
INVSCAN_EXPORT const IfInfo* findIPv4(IfInfoList& list, const char* address);

// Interfaces in the order in which they were first added. Owns its entries.
class INVSCAN_EXPORT IfInfoList {
 public:
  IfInfoList();
  ~IfInfoList();
  IfInfoList(const IfInfoList&) = delete;
  IfInfoList& operator=(const IfInfoList&) = delete;

  // Copies an interface into the list. One without name, addresses and hardware address is ignored.
  // When there is one of that name, each text that the new one has replaces the old one, and so
  // does a list of IPv6 addresses that is not empty. An interface without a name equals no other.
  void add(const IfInfo& interface);

  int getCount() const;
  // Null when out of range. The entry belongs to the list and stays until the list goes.
  const IfInfo* get(int index) const;

 private:
  friend const IfInfo* find_if(const char* name, const IfInfoList& list);
  friend const IfInfo* findIPv4(IfInfoList& list, const char* address);

  struct Entries;
  std::unique_ptr<Entries> entries_;
};

// Adds the interfaces that "ifconfig -a" prints (when no shell can be started for that, those of
// "/sbin/ifconfig -a"); none when neither can be started. Reads the form in which a line
// "eth0 Link encap:Ethernet HWaddr 00:..." is followed by lines "inet addr:..." and
// "inet6 addr: ..."; of the form without "addr:" only the names are found. A name ends at the first
// character that is neither a letter nor a digit, so that aliases (eth0:1), but also VLANs
// (eth0.100) and names such as br-lan, are merged with the interface of the shorter name.
INVSCAN_EXPORT void populateIfInfoList(IfInfoList& list);

// Makes a hardware address canonical in place: six parts of one or two digits or letters A to H
// (sic; hosts compare digests of such addresses), as upper-case pairs joined by ':'. Returns 0, or
// 1 and leaves the text alone when it is none or longer than 127 characters. The text may grow, so
// it must have room for 129 bytes.
INVSCAN_EXPORT int convertMacToCanonical(char* address);

// Ends a text before its first character that is neither a digit, nor A to H, nor ':'.
INVSCAN_EXPORT void trimMac(char* address);

// Ends a text before its first blank.
INVSCAN_EXPORT void rtrim(char* text);

// Sets the scope of an IPv6 address, with ':' or as 32 hexadecimal digits, by its first characters:
// "global" (2..., 3...), "link" (fe80...), "site" (fec..., fed..., fee..., fef...); any other, and
// null, leaves it as it was.
INVSCAN_EXPORT void getScope(std::string& scope, const char* address);

// The gateway of an IPv6 address: the next hop, in /proc/net/ipv6_route, of the first route of that
// interface whose next hop has the scope of the address and is not its destination. So the
// link-local next hop of a default route is the gateway of link-local addresses only; hosts rely on
// that. Written as eight groups of four digits joined by ':', uncompressed, into 40 bytes, which
// stay as they were when there is none. Reads the table at each call.
INVSCAN_EXPORT void getGateway(const char* address, const char* interfaceName, char* gateway);

// The first two "nameserver" and the first "domain" of /etc/resolv.conf, each cut to 127 bytes and
// put into a buffer of 128. What the file does not have leaves its buffer as it was, and so does
// "domain" when its buffer holds a text already: clear the buffers before. Returns 0 when anything
// was taken, else -1, also when the file cannot be read.
INVSCAN_EXPORT int getNameservers(char* primary, char* secondary, char* domain);

// Lists the machine's IPv4 addresses. What is the same for all addresses (the host's name, name
// servers, interface list, routing table) is asked once by each enumerate(), each name once per
// address. A routing table that has gateways is kept for the enumerator's life.
class INVSCAN_EXPORT IpAddressEnumerator {
 public:
  struct IpAddressData {
    std::string interfaceName;  // or the address's label, such as eth0:1
    std::string address;        // dotted quad
    std::string ipv6Address;    // of the interface that carries the address, with /prefix
    std::string subnetMask;     // dotted quad
    std::string hostname;       // up to the first '.'
    std::string domain;
    std::string gateway;  // in the address's subnet, dotted quad
    std::string primaryDns;
    std::string secondaryDns;
    std::string macAddress;  // six upper-case pairs joined by ':'
  };

  IpAddressEnumerator();
  virtual ~IpAddressEnumerator();
  IpAddressEnumerator(const IpAddressEnumerator&) = delete;
  IpAddressEnumerator& operator=(const IpAddressEnumerator&) = delete;

  // Puts the addresses at the end of a list; none when they cannot be had. Never throws.
  virtual void enumerate(std::list<IpAddressData>& records) = 0;

  // Whether an address begins with "127.0.0.", which is all that counts as local: 127.0.1.1 does
  // not.
  static bool isLocal(const char* address);

  // The domain of a name, without white space and root dot at its end; empty when there is none, or
  // for null. Ends the caller's text before its first '.'.
  static std::string getDomainStr(char* fqdn);

  // Host name and domain of an address: by reverse look-up, its domain else by "nslookup". When the
  // look-up finds nothing the name is that of "hostname" and the domain stays as it was.
  void getHostnameAndDomain(const std::string& address, std::string& hostname, std::string& domain);

  // Puts the gateways that "netstat -nr" prints at the end of a list, in its order.
  static void collectGateways(std::list<std::string>& gateways);

  // Sets the result to the first gateway in the subnet of an address other than that itself, and
  // leaves it as it was when there is none. Reads the routing table again at each call as long as
  // it has no gateways, so that a host sees the first one appear.
  void getGateway(std::string& result, const std::string& address, const std::string& mask);

  // 1 when both are in the same subnet; 0 when not, or when any of the three is not four numbers.
  static int match_ips(const char* address, const char* gateway, const char* mask);

 protected:
  // What this enumerator has asked so far.
  invscan::AddressKnowledge& knowledge() { return *knowledge_; }

 private:
  std::unique_ptr<invscan::AddressKnowledge> knowledge_;
};

// Asks the kernel's routing socket. Records leave sorted by interface index, those of one interface
// in the kernel's order; interfaces without hardware address have 00:00:00:00:00:00.
class INVSCAN_EXPORT NetlinkIpAddressEnumerator : public IpAddressEnumerator {
 public:
  using Records = std::multimap<int, IpAddressData>;  // by interface index
  using Callback = void (*)(Records& records, nlmsghdr* message);

  // When any step fails, which is traced, the list is left empty.
  void enumerate(std::list<IpAddressData>& records) override;

  // Asks for a dump of a type, RTM_GETADDR or RTM_GETLINK; processResponse() for the same socket
  // goes through the answer. The socket only tells requests apart, and may be any number: the
  // machine under scan is asked, which on a live one opens a socket of its own. Throws a
  // const char* that says what failed, and sets errno.
  void sendRequest(int socketNumber, int type);

  // Hands each message of the answer to a callback, datagram by datagram: in the caller's buffer of
  // that length, or elsewhere when it is longer than that. Throws a const char*, and sets errno to
  // EAGAIN, when nothing was asked for since the last answer.
  void processResponse(int socketNumber, void* buffer, unsigned long length, Records& records,
                       Callback callback);

  // Hands each message of one datagram to a callback but NLMSG_DONE, and returns whether that was
  // among them. A message whose length is wrong ends the datagram.
  static bool processResponse(void* datagram, unsigned long length, Records& records,
                              Callback callback);

  // Adds the address that a message of type RTM_NEWADDR tells, unless it is local; one of another
  // family than IPv4 has no mask. A message that has a label and no address adds a record without
  // one: hosts count on a row for it. Takes any other message too; the message must be as long as
  // its header says.
  static void r_processIPs(Records& records, nlmsghdr* message);

  // Gives the records of an interface the hardware address that a message of type RTM_NEWLINK
  // tells. Takes any other message too, as above.
  static void r_processMACs(Records& records, nlmsghdr* message);

 private:
  std::map<int, std::vector<std::string>> answers_;  // in datagrams, by socket
};

// Asks by the older way of interface ioctls, for at most 50 entries. A hardware address that cannot
// be had stays empty; "nslookup" is not run; an address is listed once.
class INVSCAN_EXPORT IoctlIpAddressEnumerator : public IpAddressEnumerator {
 public:
  void enumerate(std::list<IpAddressData>& records) override;
};
