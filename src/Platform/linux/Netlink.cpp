#include "Platform/linux/Netlink.h"

#include <linux/netlink.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace rqb {
namespace {

// A reply datagram's largest size: the kernel sizes the datagrams of a dump
// to the buffer its reader passes (and at least a page), so a buffer on the
// stack serves every request without a heap allocation per reading.
constexpr std::size_t kReceiveBufferSize = 16 * 1024;

}  // namespace

std::vector<NetlinkMessage> SplitNetlinkMessages(std::span<const std::uint8_t> bytes) {
  std::vector<NetlinkMessage> messages;
  while (bytes.size() >= sizeof(nlmsghdr)) {
    const auto header = *ReadNetlinkValue<nlmsghdr>(bytes);
    if (header.nlmsg_len < sizeof(nlmsghdr) || header.nlmsg_len > bytes.size()) break;
    messages.push_back({header.nlmsg_type, header.nlmsg_flags, header.nlmsg_seq,
                        bytes.subspan(NLMSG_HDRLEN, header.nlmsg_len - NLMSG_HDRLEN)});
    bytes = bytes.subspan(std::min<std::size_t>(NLMSG_ALIGN(header.nlmsg_len), bytes.size()));
  }
  return messages;
}

std::vector<NetlinkAttribute> SplitNetlinkAttributes(std::span<const std::uint8_t> bytes) {
  std::vector<NetlinkAttribute> attributes;
  while (bytes.size() >= sizeof(nlattr)) {
    const auto header = *ReadNetlinkValue<nlattr>(bytes);
    if (header.nla_len < sizeof(nlattr) || header.nla_len > bytes.size()) break;
    attributes.push_back({static_cast<std::uint16_t>(header.nla_type & NLA_TYPE_MASK),
                          bytes.subspan(NLA_HDRLEN, header.nla_len - NLA_HDRLEN)});
    bytes = bytes.subspan(std::min<std::size_t>(NLA_ALIGN(header.nla_len), bytes.size()));
  }
  return attributes;
}

std::vector<NetlinkAttribute> AttributesAfter(const NetlinkMessage& message,
                                              std::size_t header_size) {
  const std::size_t aligned = NLMSG_ALIGN(header_size);
  if (message.payload.size() < aligned) return {};
  return SplitNetlinkAttributes(message.payload.subspan(aligned));
}

std::optional<int> NetlinkErrorOf(const NetlinkMessage& message) {
  if (message.type != NLMSG_ERROR) return std::nullopt;
  const std::optional<nlmsgerr> error = ReadNetlinkValue<nlmsgerr>(message.payload);
  if (!error) return EPROTO;
  return -error->error;
}

NetlinkRequest::NetlinkRequest(std::uint16_t type, std::uint16_t flags) {
  nlmsghdr header{};
  header.nlmsg_type = type;
  header.nlmsg_flags = flags;
  Append(&header, sizeof header);
}

NetlinkRequest& NetlinkRequest::Attribute(std::uint16_t type, const void* data, std::size_t size) {
  nlattr header{};
  header.nla_len = static_cast<std::uint16_t>(NLA_HDRLEN + size);
  header.nla_type = type;
  Append(&header, sizeof header);
  return Append(data, size);
}

NetlinkRequest& NetlinkRequest::Append(const void* data, std::size_t size) {
  const auto* begin = static_cast<const std::uint8_t*>(data);
  bytes_.insert(bytes_.end(), begin, begin + size);
  bytes_.resize(NLMSG_ALIGN(bytes_.size()), 0);
  return *this;
}

std::vector<std::uint8_t> NetlinkRequest::Bytes(std::uint32_t sequence) const {
  std::vector<std::uint8_t> bytes = bytes_;
  nlmsghdr header = *ReadNetlinkValue<nlmsghdr>(bytes);
  header.nlmsg_len = static_cast<std::uint32_t>(bytes.size());
  header.nlmsg_seq = sequence;
  std::memcpy(bytes.data(), &header, sizeof header);
  return bytes;
}

std::optional<NetlinkSocket> NetlinkSocket::Open(int protocol, std::uint32_t groups,
                                                 int timeout_ms) {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, protocol);
  if (fd < 0) return std::nullopt;
  NetlinkSocket opened(fd, timeout_ms);
  // A socket that only asks is bound by the kernel when it first sends.
  if (groups != 0) {
    sockaddr_nl local{};
    local.nl_family = AF_NETLINK;
    local.nl_groups = groups;
    if (bind(fd, reinterpret_cast<const sockaddr*>(&local), sizeof local) != 0) {
      return std::nullopt;
    }
  }
  return opened;
}

NetlinkSocket::NetlinkSocket(NetlinkSocket&& other) noexcept
    : fd_(std::exchange(other.fd_, -1)),
      timeout_ms_(other.timeout_ms_),
      next_sequence_(other.next_sequence_) {}

NetlinkSocket::~NetlinkSocket() {
  if (fd_ >= 0) close(fd_);
}

std::optional<std::vector<std::uint8_t>> NetlinkSocket::Transact(const NetlinkRequest& request) {
  const std::uint32_t sequence = next_sequence_++;
  const std::vector<std::uint8_t> bytes = request.Bytes(sequence);
  sockaddr_nl kernel{};
  kernel.nl_family = AF_NETLINK;
  if (sendto(fd_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&kernel),
             sizeof kernel) != static_cast<ssize_t>(bytes.size())) {
    return std::nullopt;
  }

  std::vector<std::uint8_t> reply;
  alignas(nlmsghdr) std::uint8_t datagram[kReceiveBufferSize];
  // The kernel answers while it takes the request, or as the reader asks for
  // the next part of a dump: a reply waits only when something is wrong.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms_);
  for (;;) {
    const ssize_t got = recv(fd_, datagram, sizeof datagram, MSG_DONTWAIT | MSG_TRUNC);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
      const auto left =
          std::chrono::ceil<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      pollfd readable{fd_, POLLIN, 0};
      if (left.count() <= 0 || poll(&readable, 1, static_cast<int>(left.count())) < 0) {
        if (errno == EINTR) continue;
        return std::nullopt;
      }
      continue;
    }
    // A datagram longer than the buffer arrives cut: nothing to read from it.
    if (got <= 0 || static_cast<std::size_t>(got) > sizeof datagram) return std::nullopt;
    const auto received = std::span<const std::uint8_t>(datagram, got);
    bool finished = false;
    for (const NetlinkMessage& message : SplitNetlinkMessages(received)) {
      if (message.sequence != sequence) continue;
      finished = finished || message.type == NLMSG_DONE || message.type == NLMSG_ERROR ||
                 (message.flags & NLM_F_MULTI) == 0;
    }
    reply.insert(reply.end(), received.begin(), received.end());
    if (finished) return reply;
  }
}

// The most datagrams (and errors) one drain takes: a burst of routing events
// is far fewer, and a socket that keeps answering ENOBUFS or EINTR must not
// hold the caller for ever.
constexpr int kMostDrained = 1024;

bool NetlinkSocket::Drain() {
  bool any = false;
  // Only whether something came counts: a datagram longer than the buffer is
  // dropped whole all the same.
  std::uint8_t datagram[sizeof(nlmsghdr)];
  // Bounded, whatever the socket answers: what is left counts as a change
  // and waits for the next drain.
  for (int attempt = 0; attempt < kMostDrained; ++attempt) {
    const ssize_t got = recv(fd_, datagram, sizeof datagram, MSG_DONTWAIT);
    if (got > 0) {
      any = true;
    } else if (got < 0 && errno == EINTR) {
      continue;
    } else if (got < 0 && errno == ENOBUFS) {
      any = true;  // events were lost: something changed
    } else {
      return any;
    }
  }
  return true;
}

}  // namespace rqb
