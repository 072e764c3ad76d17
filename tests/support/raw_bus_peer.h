#pragma once

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <utility>

#include "pellam/property_list_value.h"
#include "platform/linux/system/file_descriptor.h"

// The other end of a bus connection, made of nothing but bytes, so that tests see what really goes over the
// wire and can send what no library would.
namespace pellam::testing_support {

inline std::pair<FileDescriptor, FileDescriptor> socketPair() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) throw std::runtime_error("socketpair");
  return {FileDescriptor(ends[0]), FileDescriptor(ends[1])};
}

// Writes values as the wire aligns them, little-endian.
class WireWriter {
 public:
  void pad(std::size_t alignment) {
    while (bytes_.size() % alignment != 0) bytes_ += '\0';
  }
  void byte(std::uint8_t value) { bytes_ += static_cast<char>(value); }
  void u32(std::uint32_t value) {
    pad(4);
    for (int shift = 0; shift < 32; shift += 8) byte(static_cast<std::uint8_t>(value >> shift));
  }
  void signature(const std::string& text) {
    byte(static_cast<std::uint8_t>(text.size()));
    bytes_ += text + '\0';
  }
  void string(const std::string& text) {
    u32(static_cast<std::uint32_t>(text.size()));
    bytes_ += text + '\0';
  }
  // One entry of an a{sv}, whose value's bytes follow at once.
  void entry(const std::string& key, const std::string& type) {
    pad(8);
    string(key);
    signature(type);
  }
  void raw(const std::string& bytes) { bytes_ += bytes; }
  [[nodiscard]] const std::string& bytes() const { return bytes_; }
  // The entries as a whole array.
  [[nodiscard]] std::string array() const {
    WireWriter whole;
    whole.u32(static_cast<std::uint32_t>(bytes_.size()));
    whole.pad(8);
    return whole.bytes_ + bytes_;
  }

 private:
  std::string bytes_;
};

// A dictionary of texts, booleans and signed integers as the wire carries it.
inline std::string wireDictionary(const PropertyListDictionary& dictionary) {
  WireWriter entries;
  for (const auto& [key, value] : dictionary) {
    const PropertyListText* text = value.string();
    const bool* boolean = value.boolean();
    entries.entry(key, text != nullptr ? "s" : boolean != nullptr ? "b" : "x");
    if (text != nullptr) {
      entries.string(std::string(text->view()));
    } else if (boolean != nullptr) {
      entries.u32(*boolean ? 1 : 0);
    } else {
      const auto number = static_cast<std::uint64_t>(value.numberAsInteger().value_or(0));
      entries.pad(8);
      entries.u32(static_cast<std::uint32_t>(number));
      entries.u32(static_cast<std::uint32_t>(number >> 32U));
    }
  }
  return entries.array();
}

struct WireMessage {
  std::uint8_t type = 0;  // 1 call, 2 return, 3 error
  std::string header;
  std::string body;
};

class RawBusPeer {
 public:
  explicit RawBusPeer(FileDescriptor socket) : socket_(std::move(socket)) {}

  void authenticateAsClient() {
    std::string hex;
    for (const char digit : std::to_string(::getuid())) hex += std::string("3") + digit;
    send(std::string(1, '\0') + "AUTH EXTERNAL " + hex + "\r\nBEGIN\r\n");
    readUntil("\r\n");
  }
  void authenticateAsServer() {
    readUntil("BEGIN\r\n");
    send("DATA\r\nOK 0123456789abcdef0123456789abcdef\r\n");
  }

  void call(const std::string& path, const std::string& interface, const std::string& member,
            const std::string& signature, const std::string& body, std::uint32_t serial = 1) {
    WireWriter fields;
    const auto text = [&fields](std::uint8_t code, const char* type, const std::string& value) {
      fields.pad(8);
      fields.byte(code);
      fields.signature(type);
      fields.string(value);
    };
    text(1, "o", path);
    text(2, "s", interface);
    text(3, "s", member);
    fields.pad(8);
    fields.byte(8);
    fields.signature("g");
    fields.signature(signature);
    WireWriter message;
    for (const int value : {int{'l'}, 1, 0, 1}) message.byte(static_cast<std::uint8_t>(value));
    message.u32(static_cast<std::uint32_t>(body.size()));
    message.u32(serial);
    message.u32(static_cast<std::uint32_t>(fields.bytes().size()));
    message.raw(fields.bytes());
    message.pad(8);
    send(message.bytes() + body);
  }

  WireMessage readMessage() {
    WireMessage message;
    message.header = read(16);
    message.type = static_cast<std::uint8_t>(message.header[1]);
    const auto u32 = [&message](std::size_t offset) {
      std::uint32_t value = 0;
      std::memcpy(&value, message.header.data() + offset, sizeof value);
      return value;
    };
    const std::uint32_t bodySize = u32(4);
    const std::uint32_t fieldsSize = u32(12);
    message.header += read((fieldsSize + 7) / 8 * 8);
    message.body = read(bodySize);
    return message;
  }

  void send(const std::string& bytes) {
    if (::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
        static_cast<ssize_t>(bytes.size())) {
      throw std::runtime_error("the peer does not take bytes");
    }
  }
  // True when the peer closes within five seconds; what it still sends is thrown away.
  bool isClosedByPeer() {
    char block[512];
    while (waitForBytes()) {
      if (::recv(socket_.get(), block, sizeof block, 0) <= 0) return true;
    }
    return false;
  }
  void close() { socket_.reset(); }

 private:
  bool waitForBytes() {
    pollfd waiting{socket_.get(), POLLIN, 0};
    return ::poll(&waiting, 1, 5'000) > 0;
  }
  std::string read(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t done = 0; done < size;) {
      if (!waitForBytes()) throw std::runtime_error("the peer is silent");
      const ssize_t count = ::recv(socket_.get(), bytes.data() + done, size - done, 0);
      if (count <= 0) throw std::runtime_error("the peer has closed");
      done += static_cast<std::size_t>(count);
    }
    return bytes;
  }
  void readUntil(const std::string& end) {
    std::string text;
    while (!text.ends_with(end)) text += read(1);
  }

  FileDescriptor socket_;
};

}  // namespace pellam::testing_support
