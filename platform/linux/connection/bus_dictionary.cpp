#include "platform/linux/connection/bus_dictionary.h"

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "text/unicode_text.h"

namespace pellam {

namespace {

// With every ill-formed sequence and every zero byte replaced by U+FFFD.
std::string repaired(const std::string& text) {
  std::string result;
  std::size_t offset = 0;
  while (offset < text.size()) {
    const std::size_t begin = offset;
    const char32_t scalar = text::nextScalar(text, offset);
    if (scalar == 0 || scalar == 0xFFFD) {
      result += "\xEF\xBF\xBD";
    } else {
      result.append(text, begin, offset - begin);
    }
  }
  return result;
}

bool isCarried(const std::string& text) {
  return text.find('\0') == std::string::npos && text::isValidUTF8(text);
}

int appendText(sd_bus_message* message, const std::string& text, IllFormedText illFormedText) {
  if (isCarried(text)) return sd_bus_message_append_basic(message, 's', text.c_str());
  if (illFormedText == IllFormedText::refuse) return -EILSEQ;
  return sd_bus_message_append_basic(message, 's', repaired(text).c_str());
}

int appendVariant(sd_bus_message* message, const PropertyListValue& value, IllFormedText illFormedText) {
  if (const bool* boolean = value.boolean())
    return sd_bus_message_append(message, "v", "b", *boolean ? 1 : 0);
  if (const auto* integer = value.integer()) return sd_bus_message_append(message, "v", "x", *integer);
  if (const auto* unsigned32 = value.unsigned32())
    return sd_bus_message_append(message, "v", "u", *unsigned32);
  if (const auto* unsigned64 = value.unsigned64())
    return sd_bus_message_append(message, "v", "t", *unsigned64);
  if (const double* real = value.real()) return sd_bus_message_append(message, "v", "d", *real);
  const PropertyListText* text = value.string();
  // What the wire has no type for: something that is none, so that the receiver finds the key.
  if (text == nullptr) return sd_bus_message_append(message, "v", "av", 0);
  int result = sd_bus_message_open_container(message, 'v', "s");
  if (result >= 0) result = appendText(message, *text, illFormedText);
  if (result >= 0) result = sd_bus_message_close_container(message);
  return result;
}

template <typename Wire, typename Value>
int readNumber(sd_bus_message* message, char type, PropertyListValue& value) {
  Wire number{};
  const int result = sd_bus_message_read_basic(message, type, &number);
  if (result > 0) value = static_cast<Value>(number);
  return result;
}

int readBasic(sd_bus_message* message, char type, PropertyListValue& value) {
  switch (type) {
    case 'b': {
      int boolean = 0;
      const int result = sd_bus_message_read_basic(message, 'b', &boolean);
      if (result > 0) value = boolean != 0;
      return result;
    }
    case 'y':
      return readNumber<std::uint8_t, std::int64_t>(message, type, value);
    case 'n':
      return readNumber<std::int16_t, std::int64_t>(message, type, value);
    case 'q':
      return readNumber<std::uint16_t, std::int64_t>(message, type, value);
    case 'i':
      return readNumber<std::int32_t, std::int64_t>(message, type, value);
    case 'x':
      return readNumber<std::int64_t, std::int64_t>(message, type, value);
    case 'u':
      return readNumber<std::uint32_t, std::uint32_t>(message, type, value);
    case 't':
      return readNumber<std::uint64_t, std::uint64_t>(message, type, value);
    case 'd':
      return readNumber<double, double>(message, type, value);
    default: {
      const char* text = nullptr;
      const int result = sd_bus_message_read_basic(message, 's', &text);
      if (result > 0) value = text;
      return result;
    }
  }
}

int readVariant(sd_bus_message* message, PropertyListValue& value) {
  char type = 0;
  const char* contents = nullptr;
  int result = sd_bus_message_peek_type(message, &type, &contents);
  if (result < 0) return result;
  if (type != 'v' || contents == nullptr) return -ENXIO;
  const std::string signature = contents;
  if (signature.size() != 1 || std::string("bynqixutds").find(signature) == std::string::npos) {
    value = PropertyListDictionary{{"unsupportedType", signature}};
    return sd_bus_message_skip(message, "v");
  }
  result = sd_bus_message_enter_container(message, 'v', contents);
  if (result >= 0) result = readBasic(message, signature.front(), value);
  if (result >= 0) result = sd_bus_message_exit_container(message);
  return result;
}

}  // namespace

int appendDictionary(sd_bus_message* message, const PropertyListDictionary& dictionary,
                     IllFormedText illFormedText) {
  int result = sd_bus_message_open_container(message, 'a', "{sv}");
  for (const auto& [key, value] : dictionary) {
    if (result >= 0) result = sd_bus_message_open_container(message, 'e', "sv");
    if (result >= 0) result = appendText(message, key, illFormedText);
    if (result >= 0) result = appendVariant(message, value, illFormedText);
    if (result >= 0) result = sd_bus_message_close_container(message);
  }
  if (result >= 0) result = sd_bus_message_close_container(message);
  return result;
}

int readDictionary(sd_bus_message* message, PropertyListDictionary& dictionary) {
  std::vector<PropertyListDictionary::Entry> entries;
  int result = sd_bus_message_enter_container(message, 'a', "{sv}");
  if (result <= 0) return result < 0 ? result : -ENXIO;
  while ((result = sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    const char* key = nullptr;
    PropertyListValue value;
    result = sd_bus_message_read_basic(message, 's', &key);
    if (result >= 0) result = readVariant(message, value);
    if (result >= 0) result = sd_bus_message_exit_container(message);
    if (result < 0) return result;
    entries.emplace_back(key, std::move(value));
  }
  if (result >= 0) result = sd_bus_message_exit_container(message);
  if (result < 0) return result;
  dictionary = PropertyListDictionary(std::move(entries));
  return 0;
}

}  // namespace pellam
