#include "formats/property_list/property_list_writers.h"

#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "formats/property_list/property_list_limits.h"
#include "foundation/date_text.h"

namespace pellam::property_list {

namespace {

void appendEscaped(std::string& text, std::string_view raw) {
  for (const char unit : raw) {
    if (unit == '&') {
      text += "&amp;";
    } else if (unit == '<') {
      text += "&lt;";
    } else if (unit == '>') {
      text += "&gt;";
    } else {
      text += unit;
    }
  }
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  std::array<char, 40> text{};
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value);
  return {text.data(), result.ptr};
}

class Writer {
 public:
  explicit Writer(std::string& text) : text_(text) {}

  void write(const PropertyListValue& value, int level) {
    if (level > property_list::maximumDepth) throw std::invalid_argument("nested more than 128 levels deep");
    indent(level);
    std::visit([&](const auto& content) { element(content, level); }, value.storage());
    text_ += '\n';
  }

 private:
  void indent(int level) { text_.append(static_cast<std::size_t>(level - 1), '\t'); }

  void element(bool value, int) { text_ += value ? "<true/>" : "<false/>"; }
  void element(std::int64_t value, int) { tagged("integer", std::to_string(value)); }
  void element(std::uint32_t value, int) { tagged("integer", std::to_string(value)); }
  void element(std::uint64_t value, int) { tagged("integer", std::to_string(value)); }
  void element(double value, int) { tagged("real", realText(value)); }
  void element(Date value, int) {
    const std::string text = iso8601Text(value);
    if (!parseISO8601(text)) throw std::invalid_argument("a date outside the years 1 to 9999");
    tagged("date", text);
  }

  void element(const PropertyListText& value, int) {
    text_ += "<string>";
    appendEscaped(text_, value);
    text_ += "</string>";
  }

  void element(const PropertyListData& value, int level) {
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr std::size_t bytesPerLine = 51;
    text_ += "<data>\n";
    for (std::size_t index = 0; index < value.size(); index += 3) {
      if (index % bytesPerLine == 0) indent(level);
      const std::size_t count = std::min<std::size_t>(3, value.size() - index);
      std::uint32_t bits = static_cast<std::uint32_t>(value[index]) << 16;
      if (count > 1) bits |= static_cast<std::uint32_t>(value[index + 1]) << 8;
      if (count > 2) bits |= value[index + 2];
      for (std::size_t digit = 0; digit < 4; ++digit) {
        text_ += digit > count ? '=' : digits[bits >> (18 - 6 * digit) & 0x3F];
      }
      if (index + 3 >= value.size() || (index + 3) % bytesPerLine == 0) text_ += '\n';
    }
    indent(level);
    text_ += "</data>";
  }

  void element(const PropertyListArray& value, int level) {
    if (value.empty()) {
      text_ += "<array/>";
      return;
    }
    text_ += "<array>\n";
    for (const PropertyListValue& each : value) write(each, level + 1);
    indent(level);
    text_ += "</array>";
  }

  void element(const PropertyListDictionary& value, int level) {
    if (value.empty()) {
      text_ += "<dict/>";
      return;
    }
    text_ += "<dict>\n";
    for (const auto& [key, each] : value) {
      indent(level + 1);
      text_ += "<key>";
      appendEscaped(text_, key);
      text_ += "</key>\n";
      write(each, level + 1);
    }
    indent(level);
    text_ += "</dict>";
  }

  void tagged(std::string_view name, std::string_view content) {
    text_.append("<").append(name).append(">").append(content).append("</").append(name).append(">");
  }

  std::string& text_;
};

}  // namespace

std::string writeXML(const PropertyListValue& value) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
      "<plist version=\"1.0\">\n";
  Writer(text).write(value, 1);
  text += "</plist>\n";
  return text;
}

}  // namespace pellam::property_list
