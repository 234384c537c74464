#include "invscan/machine/questions/Netlink.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "base/Descriptor.h"
#include "common/net/NetlinkMessages.h"
#include "invscan/machine/questions/NetlinkFields.h"

namespace invscan {
namespace {

constexpr int kAllFamilies = AF_PACKET;

constexpr int kRepeats = 3;  // of a dump that the kernel interrupted, or had no memory for
constexpr timeval kReceiveLimit{2, 0};  // seconds without an answer
constexpr std::size_t kDumpLimit = 256 << 20;
constexpr int kErrnoEnd = 4096;  // of the numbers that the kernel has for errors

NetlinkDump failed(NetlinkFailure failure, int error = errno) {
  return {failure, error, {}};
}

bool bindTo(const Descriptor& socket, pid_t port) {
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_pid = static_cast<__u32>(port);
  return bind(socket.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

// A header and one byte, as the kernel's oldest form has it: it takes that for every table.
bool sendRequest(const Descriptor& socket, NetlinkRequest asked) {
  struct {
    nlmsghdr header;
    rtgenmsg body;
  } request{};
  request.header.nlmsg_len = NLMSG_LENGTH(sizeof request.body);
  request.header.nlmsg_type = static_cast<__u16>(asked.type);
  request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
  request.header.nlmsg_seq = 1;
  request.header.nlmsg_pid = static_cast<__u32>(getpid());
  request.body.rtgen_family = static_cast<unsigned char>(asked.family);
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  return uninterrupted([&] {
           return sendto(socket.get(), &request, request.header.nlmsg_len, 0,
                         reinterpret_cast<sockaddr*>(&kernel), sizeof kernel);
         }) >= 0;
}

ssize_t receive(const Descriptor& socket, std::string& datagram, int flags, sockaddr_nl& sender) {
  socklen_t length = sizeof sender;
  return uninterrupted([&] {
    return recvfrom(socket.get(), datagram.data(), datagram.size(), flags,
                    reinterpret_cast<sockaddr*>(&sender), &length);
  });
}

// The next datagram of the kernel, whatever its size; none, and errno, when there is none in time.
std::optional<std::string> nextDatagram(const Descriptor& socket) {
  for (;;) {
    std::string datagram;
    sockaddr_nl sender{};
    ssize_t count = receive(socket, datagram, MSG_PEEK | MSG_TRUNC, sender);
    if (count < 0) return std::nullopt;
    datagram.resize(static_cast<std::size_t>(count));
    count = receive(socket, datagram, 0, sender);
    if (count < 0) return std::nullopt;
    datagram.resize(static_cast<std::size_t>(count));
    if (sender.nl_pid == 0) return datagram;  // others than the kernel may write to the socket too
  }
}

// How far a dump is after some of its datagrams.
struct Progress {
  bool isDone = false;
  bool isInterrupted = false;  // the tables changed meanwhile
  int error = 0;               // errno that the kernel ended the dump with

  void note(std::string_view datagram) {
    NetlinkMessage message;
    for (NetlinkMessages messages(datagram); messages.next(message);) {
      isInterrupted = isInterrupted || (message.flags & NLM_F_DUMP_INTR) != 0;
      isDone = isDone || message.type == NLMSG_DONE;
      if (message.type != NLMSG_DONE && message.type != NLMSG_ERROR) continue;
      const int code = leadingRecord<int>(message.payload).value_or(0);
      if (code != 0 && error == 0) error = code < 0 && code > -kErrnoEnd ? -code : EIO;
    }
  }
};

NetlinkDump receiveDump(const Descriptor& socket, Progress& progress) {
  NetlinkDump dump{NetlinkFailure::None, 0, {}};
  for (std::size_t size = 0; !progress.isDone;) {
    auto datagram = nextDatagram(socket);
    if (!datagram) return failed(NetlinkFailure::Receive);
    progress.note(*datagram);
    if (progress.error != 0) return failed(NetlinkFailure::Receive, progress.error);
    size += datagram->size();
    if (size > kDumpLimit) return failed(NetlinkFailure::Receive, EFBIG);
    dump.datagrams.push_back(std::move(*datagram));
  }
  return dump;
}

NetlinkDump askOnce(NetlinkRequest asked, bool& isInterrupted) {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
  if (!socket) return failed(NetlinkFailure::Open);
  // A host that has a netlink socket of its own has taken the process id.
  if (!bindTo(socket, getpid()) && (errno != EADDRINUSE || !bindTo(socket, 0))) {
    return failed(NetlinkFailure::Bind);
  }
  setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kReceiveLimit, sizeof kReceiveLimit);
  if (!sendRequest(socket, asked)) return failed(NetlinkFailure::Send);
  Progress progress;
  NetlinkDump dump = receiveDump(socket, progress);
  isInterrupted = progress.isInterrupted || dump.error == ENOBUFS || dump.error == ENOMEM;
  return dump;
}

}  // namespace

std::string NetlinkQuestion::keyName(NetlinkRequest request) {
  const std::string type = std::to_string(request.type);
  return request.family == kAllFamilies ? type : type + "." + std::to_string(request.family);
}

std::string NetlinkQuestion::readKey(const std::string& name, const CaptureValue& value) {
  const std::size_t point = name.find('.');
  const std::string_view type = std::string_view(name).substr(0, point);
  const std::string_view family =
      point == name.npos ? "0" : std::string_view(name).substr(point + 1);
  for (const std::string_view number : {type, family}) {
    const bool isNumber = !number.empty() && number.find_first_not_of("0123456789") == number.npos;
    if (!isNumber) value.refuse("a type of request, and a family, such as 18 or 26.2");
  }
  return name;
}

std::string NetlinkQuestion::logName(NetlinkRequest request) {
  const std::string family = request.family == AF_INET    ? "IPv4 "
                             : request.family == AF_INET6 ? "IPv6 "
                                                          : "";
  switch (request.type) {
    case RTM_GETLINK:
      return "netlink links";
    case RTM_GETADDR:
      return "netlink " + family + "addresses";
    case RTM_GETROUTE:
      return "netlink " + family + "routes";
  }
  return "netlink " + keyName(request);
}

std::string NetlinkQuestion::outcome(const NetlinkDump& dump) {
  static constexpr const char* kOutcomes[] = {"ok", "no socket", "the socket cannot be bound",
                                              "the request cannot be sent", "no whole answer"};
  std::string text = kOutcomes[static_cast<int>(dump.failure)];
  const char* const description = dump.error != 0 ? strerrordesc_np(dump.error) : nullptr;
  if (!description) return text;
  // The socket's own limit of time.
  if (dump.failure == NetlinkFailure::Receive && dump.error == EAGAIN) return "no answer in time";
  std::string why = description;
  why.front() = static_cast<char>(std::tolower(static_cast<unsigned char>(why.front())));
  return text + ": " + why;
}

NetlinkDump NetlinkQuestion::live(NetlinkRequest request) {
  NetlinkDump dump;
  bool isInterrupted = true;
  for (int i = 0; i <= kRepeats && isInterrupted; ++i) {
    isInterrupted = false;
    dump = askOnce(request, isInterrupted);
  }
  return dump;
}

void NetlinkQuestion::write(Json& json, const NetlinkDump& dump) {
  if (dump.failure != NetlinkFailure::None) return;
  json = Json::array();
  for (const std::string& datagram : dump.datagrams) json.push_back(hexDigits(datagram));
}

NetlinkDump NetlinkQuestion::read(const CaptureValue& value) {
  NetlinkDump dump{NetlinkFailure::None, 0, {}};
  Progress progress;
  bool isInFields = false;
  value.forEachElement([&](const CaptureValue& element) {
    isInFields = element.isObject();
    dump.datagrams.push_back(isInFields ? netlinkMessage(element) : element.bytes());
    progress.note(dump.datagrams.back());
  });
  if (progress.error != 0) return failed(NetlinkFailure::Receive, progress.error);
  if (!progress.isDone && !isInFields) return failed(NetlinkFailure::Receive, ENODATA);
  if (!progress.isDone) dump.datagrams.push_back(netlinkEnd());
  return dump;
}

}  // namespace invscan
