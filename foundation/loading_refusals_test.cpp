#include "foundation/loading_refusals.h"

#include <gtest/gtest.h>

#include "foundation/user_agent.h"

namespace pellam {
namespace {

using Code = URLLoadingError::Code;

std::string textOf(const std::optional<URLLoadingError>& refusal) {
  return refusal ? std::to_string(static_cast<int>(refusal->code())) + " " + refusal->what() : "";
}

TEST(LoadingRefusalsTest, NameTheAddressAndTheReason) {
  const std::pair<const char*, const char*> rows[] = {
      {"https://a/feed", ""},
      {"HTTP://[::1]:80/feed", ""},
      {"file:///feed", ""},
      {"localhost:8080/x", "-1002 \"localhost:8080/x\" is no https, http or file address."},
      {"App.zip", "-1002 \"App.zip\" is no https, http or file address."},
      {"javascript:alert(1)", "-1002 \"javascript:alert(1)\" is no https, http or file address."},
      {"https:a/feed", "-1000 \"https:a/feed\" names no host."},
      {"http://user@:80/feed", "-1000 \"http://user@:80/feed\" names no host."},
  };
  for (const auto& [address, text] : rows) {
    EXPECT_EQ(textOf(addressRefusal(*URL::parse(address))), text) << address;
  }
}

TEST(LoadingRefusalsTest, ARedirectNeverLeavesHTTPSOrTheWeb) {
  const struct {
    const char* from;
    const char* to;
    const char* text;
  } rows[] = {
      {"http://a/", "http://b/", ""},
      {"http://a/", "https://a/", ""},
      {"https://a/", "https://b/", ""},
      {"https://a/", "http://a/x",
       "-1022 The server redirects from https to \"http://a/x\", which is not secure."},
      {"http://a/", "file:///etc/passwd",
       "-1002 The server redirects to \"file:///etc/passwd\", which is no https or http address."},
      {"https://a/", "data:,x",
       "-1002 The server redirects to \"data:,x\", which is no https or http address."},
      {"https://a/", "https:///x", "-1000 \"https:///x\" names no host."},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(textOf(redirectRefusal(*URL::parse(row.from), *URL::parse(row.to))), row.text)
        << row.from << " to " << row.to;
  }
}

TEST(LoadingRefusalsTest, ABodyMayHaveItsWholeLimitAndNoMore) {
  BodyLimit limit(10);
  EXPECT_EQ(limit.take(4), std::nullopt);
  EXPECT_EQ(limit.take(6), std::nullopt);
  EXPECT_EQ(limit.take(0), std::nullopt);
  EXPECT_EQ(textOf(limit.take(1)), "-1103 The response is longer than 10 bytes.");
  EXPECT_TRUE(BodyLimit(10).take(std::size_t(-1)));
  EXPECT_EQ(BodyLimit(std::nullopt).take(std::size_t(-1)), std::nullopt);
}

TEST(UserAgentTest, IsTheApplicationsNameAndVersionInTheHeadersForm) {
  const struct {
    PellamAppIdentity application;
    const char* text;
  } rows[] = {
      {{"Editor", "com.example.editor", "2.4.1", "12"}, "Editor/2.4.1"},
      {{"My Editor (Pro)", "", "2.5 b3", ""}, "My%20Editor%20%28Pro%29/2.5%20b3"},
      {{"Gr\u00fc\u00dfe\r\nX: y", "", "1/2", ""}, "Gr%C3%BC%C3%9Fe%0D%0AX%3A%20y/1%2F2"},
      {{"", "com.example.editor", "", "12"}, "com.example.editor"},
  };
  for (const auto& row : rows) EXPECT_EQ(userAgentText(row.application), row.text);
}

}  // namespace
}  // namespace pellam
