// Netlink requests and replies: building, sending, and walking the bytes.
#pragma once

#include <cstdint>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

namespace rqb {

// One netlink message of a buffer, as received.
struct NetlinkMessage {
  std::uint16_t type = 0;
  std::uint16_t flags = 0;
  std::uint32_t sequence = 0;
  std::span<const std::uint8_t> payload;  // after the netlink header
};

// One attribute (rtattr or nlattr, which share their layout).
struct NetlinkAttribute {
  std::uint16_t type = 0;  // without the nested and byte-order bits
  std::span<const std::uint8_t> payload;
};

// The well-formed messages of `bytes`, in order; a truncated tail is dropped.
std::vector<NetlinkMessage> SplitNetlinkMessages(std::span<const std::uint8_t> bytes);

// The well-formed attributes of `bytes`, in order.
std::vector<NetlinkAttribute> SplitNetlinkAttributes(std::span<const std::uint8_t> bytes);

// The attributes that follow a fixed header of `header_size` bytes (rtmsg,
// genlmsghdr, ...) in a message's payload; none when the payload is shorter.
std::vector<NetlinkAttribute> AttributesAfter(const NetlinkMessage& message,
                                              std::size_t header_size);

// The error an NLMSG_ERROR message carries, as a positive errno value (0 for
// an acknowledgement); nothing for any other message.
std::optional<int> NetlinkErrorOf(const NetlinkMessage& message);

// A fixed-size value at the start of `bytes`, or nothing when too short.
template <typename T>
std::optional<T> ReadNetlinkValue(std::span<const std::uint8_t> bytes) {
  if (bytes.size() < sizeof(T)) return std::nullopt;
  T value;
  std::memcpy(&value, bytes.data(), sizeof(T));
  return value;
}

// Builds one request: the netlink header, a fixed family header, attributes.
class NetlinkRequest {
 public:
  NetlinkRequest(std::uint16_t type, std::uint16_t flags);

  template <typename Header>
  NetlinkRequest& FamilyHeader(const Header& header) {
    return Append(&header, sizeof header);
  }
  NetlinkRequest& Attribute(std::uint16_t type, const void* data, std::size_t size);

  // The finished message with `sequence`.
  std::vector<std::uint8_t> Bytes(std::uint32_t sequence) const;

 private:
  NetlinkRequest& Append(const void* data, std::size_t size);

  std::vector<std::uint8_t> bytes_;
};

// A netlink socket of one protocol, closed when destroyed.
class NetlinkSocket {
 public:
  // A socket of `protocol` (NETLINK_ROUTE, NETLINK_GENERIC) in the calling
  // thread's network namespace, subscribed to the multicast `groups`, or
  // nothing when the system refuses one. Replies wait at most `timeout_ms`.
  static std::optional<NetlinkSocket> Open(int protocol, std::uint32_t groups = 0,
                                           int timeout_ms = 500);

  NetlinkSocket(NetlinkSocket&& other) noexcept;
  NetlinkSocket& operator=(NetlinkSocket&&) = delete;
  ~NetlinkSocket();

  int fd() const { return fd_; }

  // Sends `request` and returns every reply datagram's bytes, up to the end
  // of a dump, the acknowledgement or error, or the one reply of a plain
  // request. Nothing when sending or receiving fails or times out.
  std::optional<std::vector<std::uint8_t>> Transact(const NetlinkRequest& request);

  // Reads and drops the datagrams waiting, without blocking and at most a
  // bounded number; returns whether there was anything, including an overrun
  // of the socket's queue or more than it took.
  bool Drain();

 private:
  NetlinkSocket(int fd, int timeout_ms) : fd_(fd), timeout_ms_(timeout_ms) {}

  int fd_;
  const int timeout_ms_;  // the longest wait for a reply
  std::uint32_t next_sequence_ = 1;
};

}  // namespace rqb
