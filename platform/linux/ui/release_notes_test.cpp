#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <webkit/webkit.h>

#include <map>

#include "platform/child_process.h"
#include "platform/linux/ui/release_notes_view.h"
#include "tests/support/window_test_fixture.h"

namespace pellam {

namespace {

using Events = std::vector<std::string>;

// A web server in the tests' own event loop.
class PageServer {
 public:
  PageServer() : server_(soup_server_new(nullptr, nullptr)) {
    soup_server_add_handler(server_, nullptr, answer, this, nullptr);
    soup_server_listen_local(server_, 0, SOUP_SERVER_LISTEN_IPV4_ONLY, nullptr);
    GSList* uris = soup_server_get_uris(server_);
    char* text = g_uri_to_string(static_cast<GUri*>(uris->data));
    address = text;
    g_free(text);
    g_slist_free_full(uris, reinterpret_cast<GDestroyNotify>(g_uri_unref));
  }
  PageServer(const PageServer&) = delete;
  PageServer& operator=(const PageServer&) = delete;
  ~PageServer() { g_object_unref(server_); }

  struct Page {
    std::string body;
    std::string type = "text/html; charset=utf-8";
    guint status = SOUP_STATUS_OK;
    std::string location = {};
    bool neverAnswers = false;
  };
  std::string address;  // ends with a slash
  std::map<std::string, Page> pages;
  std::vector<std::string> requested;
  std::map<std::string, std::string> cacheControl;  // what each request asked for

 private:
  static void answer(SoupServer*, SoupServerMessage* message, const char* path, GHashTable*, gpointer data) {
    auto* self = static_cast<PageServer*>(data);
    self->requested.emplace_back(path);
    const char* cacheControl =
        soup_message_headers_get_one(soup_server_message_get_request_headers(message), "Cache-Control");
    self->cacheControl[path] = cacheControl == nullptr ? "" : cacheControl;
    const auto found = self->pages.find(path);
    if (found == self->pages.end()) {
      soup_server_message_set_status(message, SOUP_STATUS_NOT_FOUND, nullptr);
      return;
    }
    const Page& page = found->second;
    if (page.neverAnswers) {
      soup_server_message_pause(message);
      return;
    }
    if (!page.location.empty()) {
      soup_message_headers_replace(soup_server_message_get_response_headers(message), "Location",
                                   page.location.c_str());
    }
    soup_server_message_set_status(message, page.status, nullptr);
    soup_server_message_set_response(message, page.type.c_str(), SOUP_MEMORY_COPY, page.body.data(),
                                     page.body.size());
  }
  SoupServer* server_;
};

class ReleaseNotes : public WindowTest {
 protected:
  void SetUp() override {
    WindowTest::SetUp();
    if (!IsSkipped() && !canConfineWebContent(*makeSystemChildProcessRunner("/usr/bin"))) {
      GTEST_SKIP() << "this system cannot confine a web view (bwrap cannot make its namespaces)";
    }
  }
  Prompt show(const std::string& path, std::chrono::seconds timeout = std::chrono::seconds(60)) {
    UpdatePromptContent content = promptContent(server_.address + path);
    content.timeout = timeout;
    return showPrompt(std::move(content));
  }
  static WebKitWebView* viewOf(const Prompt& prompt) {
    return WEBKIT_WEB_VIEW(robot::findOfType(GTK_WIDGET(prompt.widget()), WEBKIT_TYPE_WEB_VIEW));
  }
  static bool waitUntilLoaded(const Prompt& prompt) {
    WebKitWebView* view = viewOf(prompt);
    const bool isLoaded = robot::waitUntil([&] {
      return webkit_web_view_get_uri(view) != nullptr && webkit_web_view_is_loading(view) == FALSE;
    });
    robot::handleEventsFor(std::chrono::milliseconds(150));  // until it is drawn
    return isLoaded;
  }
  // Something in the page, asked from outside it.
  static std::string valueOf(const Prompt& prompt, const char* script) {
    std::optional<std::string> value;
    webkit_web_view_evaluate_javascript(
        viewOf(prompt), script, -1, nullptr, nullptr, nullptr,
        [](GObject* view, GAsyncResult* result, gpointer data) {
          JSCValue* answer =
              webkit_web_view_evaluate_javascript_finish(WEBKIT_WEB_VIEW(view), result, nullptr);
          char* text = answer == nullptr ? nullptr : jsc_value_to_string(answer);
          *static_cast<std::optional<std::string>*>(data) = text == nullptr ? "" : text;
          g_free(text);
          if (answer != nullptr) g_object_unref(answer);
        },
        &value);
    EXPECT_TRUE(robot::waitUntil([&] { return value.has_value(); }));
    return value.value_or("");
  }
  void expectUsable(const Prompt& prompt) {
    robot::click(prompt.button("Install Update"));
    expectEvents(prompt, Events{"Install Update"});
  }
  PageServer server_;
};

// A link as large as the page: a click in the middle of the view meets it.
std::string linkPage(const std::string& attributes) {
  return "<body style='margin:0'><a " + attributes +
         " style='display:block;height:100vh;background:#eef'>a "
         "link</a><script>document.title='ran'</script>";
}

TEST_F(ReleaseNotes, LinksLeaveAndThePageStays) {
  server_.pages["/plain"] = {linkPage("href='/next'")};
  server_.pages["/blank"] = {linkPage("href='/next' target='_blank'")};
  server_.pages["/lenient"] = {linkPage("href='/next?a|b[]=^%zz#{c}'")};
  server_.pages["/download"] = {linkPage("href='/next' download")};
  server_.pages["/frame"] = {
      "<body style='margin:0'><iframe src='/plain' style='width:100%;height:100vh;border:0'>"};
  server_.pages["/next"] = {"next"};
  for (const std::string path : {"plain", "blank", "lenient", "download", "frame"}) {
    SCOPED_TRACE(path);
    server_.requested.clear();
    const Prompt prompt = show(path);
    ASSERT_TRUE(waitUntilLoaded(prompt));
    EXPECT_EQ(server_.cacheControl["/" + path], "no-cache");
    for (const NavigationAction& action : *prompt.asked) EXPECT_FALSE(action.isLinkActivated);
    prompt.asked->clear();
    robot::click(GTK_WIDGET(viewOf(prompt)));
    ASSERT_TRUE(robot::waitUntil([&] { return !prompt.asked->empty(); }));
    robot::handleEventsFor(std::chrono::milliseconds(200));
    ASSERT_EQ(prompt.asked->size(), 1U);
    EXPECT_TRUE(prompt.asked->front().isLinkActivated);
    ASSERT_TRUE(prompt.asked->front().url);
    EXPECT_EQ(prompt.asked->front().url->text().find(server_.address + "next"), 0U);
    EXPECT_EQ(webkit_web_view_get_uri(viewOf(prompt)), server_.address + path);
    EXPECT_EQ(std::count(server_.requested.begin(), server_.requested.end(), "/next"), 0);
    EXPECT_EQ(robot::newestWindow(), prompt.widget()) << "no window of the page's own";
    EXPECT_EQ(valueOf(prompt, "document.title"), "") << "the page's script has not run";
    expectEvents(prompt, Events{});
  }
}

TEST_F(ReleaseNotes, AReloadAsksTheServerAgain) {
  server_.pages["/notes"] = {"<h1>Editor 2.0</h1>"};
  for (int turn = 0; turn < 2; ++turn) ASSERT_TRUE(waitUntilLoaded(show("notes")));
  EXPECT_EQ(std::count(server_.requested.begin(), server_.requested.end(), "/notes"), 2);
}

TEST_F(ReleaseNotes, RedirectsAreFollowed) {
  server_.pages["/old"] = {"", "text/html", SOUP_STATUS_MOVED_PERMANENTLY, "/new"};
  server_.pages["/new"] = {"<p id='x'>new</p>"};
  const Prompt prompt = show("old");
  ASSERT_TRUE(waitUntilLoaded(prompt));
  EXPECT_EQ(valueOf(prompt, "document.getElementById('x').textContent"), "new");
}

TEST_F(ReleaseNotes, APageThatIsNoneLeavesThePromptUsable) {
  server_.pages["/empty"] = {""};
  server_.pages["/loop"] = {"", "text/html", SOUP_STATUS_FOUND, "/loop"};
  server_.pages["/archive"] = {std::string(4096, '\0'), "application/zip"};
  for (const std::string path : {"empty", "loop", "archive", "missing"}) {
    SCOPED_TRACE(path);
    const Prompt prompt = show(path);
    EXPECT_TRUE(robot::waitUntil([&] { return webkit_web_view_is_loading(viewOf(prompt)) == FALSE; }));
    EXPECT_EQ(valueOf(prompt, "document.body === null ? '' : document.body.innerText"), "");
    expectUsable(prompt);
  }
  EXPECT_LT(std::count(server_.requested.begin(), server_.requested.end(), "/loop"), 50) << "a loop ends";
  for (const std::string address :
       {"http://127.0.0.1:1/", "http://nowhere.invalid/", "ftp://nowhere.invalid/x"}) {
    SCOPED_TRACE(address);
    expectUsable(showPrompt(promptContent(address)));
  }
}

TEST_F(ReleaseNotes, APageThatRefreshesItselfForEverEnds) {
  server_.pages["/again"] = {"<meta http-equiv='refresh' content='0'><p>again</p>"};
  const Prompt prompt = show("again");
  const auto loads = [&] { return std::count(server_.requested.begin(), server_.requested.end(), "/again"); };
  EXPECT_TRUE(robot::waitUntil([&] { return loads() == 50; })) << loads();
  robot::handleEventsFor(std::chrono::milliseconds(500));
  EXPECT_EQ(loads(), 50);
  expectUsable(prompt);
}

TEST_F(ReleaseNotes, APageThatDoesNotComeIsGivenUp) {
  server_.pages["/silent"] = {"", "", SOUP_STATUS_OK, "", true};
  const Prompt prompt = show("silent", std::chrono::seconds(1));
  EXPECT_NE(webkit_web_view_is_loading(viewOf(prompt)), FALSE);
  EXPECT_TRUE(robot::waitUntil([&] { return webkit_web_view_is_loading(viewOf(prompt)) == FALSE; }));
  expectUsable(prompt);
}

TEST_F(ReleaseNotes, AnEnormousPageLeavesThePromptUsable) {
  std::string body = "<p>";
  while (body.size() < 50'000'000) body += "All work and no play makes a long page. ";
  server_.pages["/enormous"] = {std::move(body)};
  const Prompt prompt = show("enormous");
  robot::handleEventsFor(std::chrono::milliseconds(500));
  expectUsable(prompt);
}

TEST_F(ReleaseNotes, AnEndedWebProcessLeavesThePromptUsable) {
  server_.pages["/notes"] = {"<h1>Editor 2.0</h1>"};
  const Prompt prompt = show("notes");
  ASSERT_TRUE(waitUntilLoaded(prompt));
  webkit_web_view_terminate_web_process(viewOf(prompt));
  expectUsable(prompt);
}

TEST_F(ReleaseNotes, NothingIsLeftOfAClosedPrompt) {
  server_.pages["/notes"] = {"<h1>Editor 2.0</h1>"};
  Prompt prompt = show("notes");
  ASSERT_TRUE(waitUntilLoaded(prompt));
  GtkWidget* parts[] = {GTK_WIDGET(prompt.widget()), GTK_WIDGET(viewOf(prompt)),
                        prompt.button("Install Update"), gtk_window_get_child(prompt.widget())};
  auto* session = webkit_web_view_get_network_session(viewOf(prompt));
  for (GtkWidget*& part : parts)
    g_object_add_weak_pointer(G_OBJECT(part), reinterpret_cast<gpointer*>(&part));
  g_object_add_weak_pointer(G_OBJECT(session), reinterpret_cast<gpointer*>(&session));
  prompt.window->close();
  EXPECT_TRUE(robot::waitUntil([&] { return parts[1] == nullptr && session == nullptr; }));
  for (const GtkWidget* part : parts) EXPECT_EQ(part, nullptr);
}

TEST_F(WindowTest, WithoutAConfinedWebViewAButtonOpensTheNotes) {
  toolkit_ = makeWindowToolkit(PELLAM_TEST_IMAGES, [] { return false; });
  const Prompt prompt = showPrompt(promptContent("https://example.com/notes.html"));
  EXPECT_EQ(robot::findOfType(GTK_WIDGET(prompt.widget()), WEBKIT_TYPE_WEB_VIEW), nullptr);
  robot::click(prompt.button("Show Release Notes"));
  ASSERT_TRUE(robot::waitUntil([&] { return prompt.asked->size() == 1; }));
  EXPECT_TRUE(prompt.asked->front().isLinkActivated);
  EXPECT_EQ(prompt.asked->front().url->text(), "https://example.com/notes.html");
  expectEvents(prompt, Events{});
  robot::click(prompt.button("Remind Me Later"));
  expectEvents(prompt, Events{"Remind Me Later"});
}

}  // namespace

}  // namespace pellam
