#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace [[gnu::visibility("default")]] pellam {

// An address of the web that keeps the RFC 3986 text it was made from. Files on disk are
// std::filesystem::path, never a URL. Equality compares the text.
//
// For example:
//
//     const std::optional<URL> feed = URL::parse("https://example.com/editor/feed.plist");
//     assert(feed && feed->text() == "https://example.com/editor/feed.plist");
//     assert(!URL::parse("not an address"));
class URL {
 public:
  // Nothing when the text is empty or not an RFC 3986 reference: a character that must be percent-encoded, a
  // broken percent escape, a port that is not a number, a bracketed host that is not closed.
  [[nodiscard]] static std::optional<URL> parse(std::string_view text);

  // The same for a text as browsers pass it on: what must be percent-encoded where it stands is encoded
  // first, a percent sign that escapes nothing included. Nothing for an empty text and for a scheme, host or
  // port that is none.
  [[nodiscard]] static std::optional<URL> parseLeniently(std::string_view text);

  [[nodiscard]] const std::string& text() const { return text_; }
  // In lower case; empty for a relative reference.
  [[nodiscard]] const std::string& scheme() const { return scheme_; }
  // Without user and port; empty when there is no authority.
  [[nodiscard]] const std::string& host() const { return host_; }
  // Still percent-encoded.
  [[nodiscard]] const std::string& path() const { return path_; }
  // What a log may show: the text without user, password, query and fragment, where secrets are kept.
  [[nodiscard]] std::string publicText() const;
  // The path's last component, percent-decoded, trailing slashes ignored; "/" for the root, empty for no
  // path.
  [[nodiscard]] std::string lastPathComponent() const;

  friend bool operator==(const URL& left, const URL& right) { return left.text_ == right.text_; }

 private:
  URL() = default;
  std::string text_;
  std::string scheme_;
  std::string host_;
  std::string path_;
};

}  // namespace pellam
