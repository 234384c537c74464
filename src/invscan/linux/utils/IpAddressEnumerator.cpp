#include "invscan/linux/utils/AddressKnowledge.h"
#include "invscan/linux/utils/HostNames.h"
#include "invscan/machine/Machine.h"
#include "log/Trace.h"

using namespace invscan;

void AddressKnowledge::beginEnumeration() {
  names_.emplace();
  nameServers_.reset();
  interfaces_.reset();
  forgetTableWithoutGateways();
}

void AddressKnowledge::forgetTableWithoutGateways() {
  if (gateways_ && gateways_->getCount() == 0) gateways_.reset();
}

const std::string* AddressKnowledge::gatewayOf(const std::string& address,
                                               const std::string& mask) {
  const Trace trace(getCcLogHw(), "getGateway()");
  if (!gateways_) {
    std::list<std::string> gateways;
    IpAddressEnumerator::collectGateways(gateways);
    gateways_.emplace(gateways);
  }
  trace.at().max("hardware gateways collected, gwlist size is %zu", gateways_->getCount());
  const std::string* gateway = gateways_->find(address, mask);
  if (gateway) trace.at().max("hardware have match, gateway is %s", gateway->c_str());
  return gateway;
}

const NameServers& AddressKnowledge::nameServers() {
  if (nameServers_) return *nameServers_;
  const Trace trace(getCcLogHw(), "nameServers()");
  nameServers_ = readNameServers();
  if (nameServers_->isEmpty()) {
    trace.at().min("hardware error during resolv.conf parsing..");
  } else {
    trace.at().max("hardware done parsing resolv.conf...");
  }
  return *nameServers_;
}

IfInfoList& AddressKnowledge::interfaces() {
  if (!interfaces_) populateIfInfoList(interfaces_.emplace());
  return *interfaces_;
}

void AddressKnowledge::complete(IpAddressEnumerator::IpAddressData& record) {
  if (const std::string* gateway = gatewayOf(record.address, record.subnetMask)) {
    record.gateway = *gateway;
  }
  const NameServers& servers = nameServers();
  record.primaryDns = servers.primary;
  record.secondaryDns = servers.secondary;
  if (record.domain.empty()) record.domain = servers.domain;
  if (const IfInfo* interface = findIPv4(interfaces(), record.address.c_str())) {
    record.ipv6Address = interface->text(IfInfo::kIPv6);
  }
}

IpAddressEnumerator::IpAddressEnumerator() : knowledge_(std::make_unique<AddressKnowledge>()) {
}

IpAddressEnumerator::~IpAddressEnumerator() = default;

bool IpAddressEnumerator::isLocal(const char* address) {
  return std::string_view(address).starts_with("127.0.0.");
}

std::string IpAddressEnumerator::getDomainStr(char* fqdn) {
  if (!fqdn) return {};
  const std::string_view name = fqdn;
  std::string domain = domainOf(name);
  fqdn[name.substr(0, name.find('.')).size()] = '\0';
  return domain;
}

void IpAddressEnumerator::getHostnameAndDomain(const std::string& address, std::string& hostname,
                                               std::string& domain) {
  const HostName& name = knowledge_->names().nameOf(address);
  hostname = name.host.value_or(hostname);
  domain = name.domain.value_or(domain);
}

void IpAddressEnumerator::collectGateways(std::list<std::string>& gateways) {
  gateways.splice(gateways.end(),
                  parseGateways(machine().runCommand("netstat -nr", kTableLimit).text));
}

void IpAddressEnumerator::getGateway(std::string& result, const std::string& address,
                                     const std::string& mask) {
  knowledge_->forgetTableWithoutGateways();
  if (const std::string* gateway = knowledge_->gatewayOf(address, mask)) result = *gateway;
}
