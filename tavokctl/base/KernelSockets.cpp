#include "base/KernelSockets.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>

#include "Settings.h"
#include "base/Descriptor.h"
#include "base/Failure.h"
#include "base/Files.h"
#include "base/UnixSocket.h"

namespace {

constexpr const char* kAsk = "ask the kernel about sockets";

// A value from the first bytes; missing bytes are zeros.
template <class T>
T As(std::string_view bytes) {
  T value{};
  if (!bytes.empty()) std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
  return value;
}

std::string_view Behind(std::string_view bytes, std::size_t count) {
  return bytes.substr(std::min(bytes.size(), count));
}

// Calls `use` with each socket in one datagram of a netlink dump, and with its attributes. Returns
// false at the end of the dump.
template <class Message, class Use>
bool ReadAnswer(std::string_view answer, Use use) {
  for (nlmsghdr header; answer.size() >= sizeof header;
       answer = Behind(answer, NLMSG_ALIGN(header.nlmsg_len))) {
    header = As<nlmsghdr>(answer);
    const std::string_view body = Behind(answer.substr(0, header.nlmsg_len), sizeof header);
    if (header.nlmsg_type == NLMSG_DONE || header.nlmsg_len < sizeof header) return false;
    if (header.nlmsg_type == NLMSG_ERROR) throw CFailure(kAsk, -As<nlmsgerr>(body).error);
    use(As<Message>(body), Behind(body, NLMSG_ALIGN(sizeof(Message))));
  }
  return true;
}

// Asks for a netlink dump of sockets: each is a `Message` followed by attributes.
template <class Message, class Request, class Use>
void ForEachSocket(const Request& request, Use use) {
  struct {
    nlmsghdr header;
    Request request;
  } const question{{sizeof question, SOCK_DIAG_BY_FAMILY, NLM_F_REQUEST | NLM_F_DUMP, 0, 0},
                   request};
  const CDescriptor netlink(::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (!netlink || ::send(netlink.Get(), &question, sizeof question, 0) == -1) {
    throw CFailure(kAsk, errno);
  }
  char buffer[32768];
  ssize_t received = 0;
  do {
    received = ::recv(netlink.Get(), buffer, sizeof buffer, 0);
    if (received == -1) throw CFailure(kAsk, errno);
  } while (ReadAnswer<Message>({buffer, static_cast<std::size_t>(received)}, use));
}

// The payload of an attribute; empty if it is missing.
std::string_view Attribute(std::string_view attributes, unsigned type) {
  while (attributes.size() >= sizeof(rtattr)) {
    const auto one = As<rtattr>(attributes);
    if (one.rta_type == type) return Behind(attributes.substr(0, one.rta_len), sizeof one);
    attributes = Behind(attributes, std::max<std::size_t>(RTA_ALIGN(one.rta_len), sizeof one));
  }
  return {};
}

// One of an attribute's 32-bit numbers; 0 if it is missing.
std::uint32_t NumberAt(std::string_view numbers, std::size_t index) {
  return As<std::uint32_t>(Behind(numbers, index * sizeof(std::uint32_t)));
}

}  // namespace

std::vector<CKernelSocket> UdpSockets() {
  inet_diag_req_v2 request{};
  request.sdiag_family = AF_INET;
  request.sdiag_protocol = IPPROTO_UDP;
  request.idiag_ext = 1 << (INET_DIAG_SKMEMINFO - 1);
  request.idiag_states = ~0U;

  std::vector<CKernelSocket> sockets;
  ForEachSocket<inet_diag_msg>(request, [&](const auto& socket, auto attributes) {
    const auto memory = Attribute(attributes, INET_DIAG_SKMEMINFO);
    sockets.push_back({.inode = socket.idiag_inode,
                       .address = socket.id.idiag_src[0],
                       .port = ntohs(socket.id.idiag_sport),
                       .path = {},
                       .peer = 0,
                       .owner = {},
                       .used = NumberAt(memory, SK_MEMINFO_RMEM_ALLOC),
                       .limit = NumberAt(memory, SK_MEMINFO_RCVBUF),
                       .dropped = NumberAt(memory, SK_MEMINFO_DROPS)});
  });
  return sockets;
}

std::vector<CKernelSocket> UnixSockets() {
  unix_diag_req request{};
  request.sdiag_family = AF_UNIX;
  request.udiag_states = ~0U;
  request.udiag_show = UDIAG_SHOW_NAME | UDIAG_SHOW_PEER | UDIAG_SHOW_RQLEN | UDIAG_SHOW_UID;

  std::vector<CKernelSocket> sockets;
  ForEachSocket<unix_diag_msg>(request, [&](const auto& socket, auto attributes) {
    if (socket.udiag_type != SOCK_DGRAM) return;
    const auto name = Attribute(attributes, UNIX_DIAG_NAME);
    const auto owner = Attribute(attributes, UNIX_DIAG_UID);
    sockets.push_back({.inode = socket.udiag_ino,
                       .address = 0,
                       .port = 0,
                       .path = std::string(name.substr(0, name.find('\0'))),
                       .peer = NumberAt(Attribute(attributes, UNIX_DIAG_PEER), 0),
                       .owner = owner.empty() ? std::nullopt : std::optional(As<uid_t>(owner)),
                       .used = NumberAt(Attribute(attributes, UNIX_DIAG_RQLEN), 0),
                       .limit = 0,
                       .dropped = 0});
  });
  return sockets;
}

in_addr_t AddressOf(const std::string& bindingAddress) {
  return bindingAddress.empty() ? INADDR_ANY : ::inet_addr(bindingAddress.c_str());
}

std::uint16_t UdpPortOf(const std::string& port) {
  return static_cast<std::uint16_t>(CSettings::PortNumber(port));
}

std::optional<CKernelSocket> UdpSocketAt(in_addr_t address, std::uint16_t port) {
  for (const CKernelSocket& socket : UdpSockets()) {
    if (socket.port == port && socket.address == address) return socket;
  }
  return {};
}

int ErrorOfBinding(in_addr_t address, std::uint16_t port) {
  sockaddr_in name{};
  name.sin_family = AF_INET;
  name.sin_port = htons(port);
  name.sin_addr.s_addr = address;
  const CDescriptor probe(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const auto* const generic = reinterpret_cast<const sockaddr*>(&name);
  return ::bind(probe.Get(), generic, sizeof name) == 0 ? 0 : errno;
}

CReceiver ReceiverAt(const std::string& path) {
  CReceiver receiver{};
  const CDescriptor probe = ConnectToUnixSocket(path, receiver.error);
  if (receiver.error != 0) return receiver;
  const std::uint64_t ours = Look(probe, path).id.inode;
  const std::vector<CKernelSocket> sockets = UnixSockets();
  const auto find = [&](std::uint64_t inode) {
    return std::find_if(sockets.begin(), sockets.end(),
                        [inode](const CKernelSocket& one) { return one.inode == inode; });
  };
  const auto connected = find(ours);
  const auto other = connected == sockets.end() ? connected : find(connected->peer);
  if (other != sockets.end()) receiver.socket = *other;
  return receiver;
}
