#include "platform/linux/ui/release_notes_view.h"

#include <libsoup/soup.h>
#include <webkit/webkit.h>

#include <filesystem>
#include <memory>
#include <utility>

#include "platform/child_process.h"
#include "platform/linux/ui/gtk_object.h"

namespace pellam {

namespace {

constexpr const char* stateKey = "pellam-release-notes";
// More redirects, refreshes and frames than any honest page needs; one that refreshes itself for ever ends
// here.
constexpr int mostUnaskedNavigations = 50;

struct NotesState {
  NotesState() = default;
  NotesState(const NotesState&) = delete;
  NotesState& operator=(const NotesState&) = delete;
  ~NotesState() { endTimer(); }
  void endTimer() {
    if (timer != 0) g_source_remove(std::exchange(timer, 0U));
  }

  std::function<NavigationPolicy(const NavigationAction&)> decidePolicy;
  guint timer = 0;
  int unaskedNavigations = 0;
};

NotesState& stateOf(gpointer view) { return **attachedValue<std::unique_ptr<NotesState>>(view, stateKey); }

NavigationPolicy ask(gpointer view, WebKitNavigationPolicyDecision* decision, bool isForNewWindow) {
  WebKitNavigationAction* action = webkit_navigation_policy_decision_get_navigation_action(decision);
  NavigationAction asked;
  asked.isLinkActivated = isForNewWindow || webkit_navigation_action_get_navigation_type(action) ==
                                                WEBKIT_NAVIGATION_TYPE_LINK_CLICKED;
  if (!asked.isLinkActivated && webkit_navigation_action_is_user_gesture(action) == FALSE &&
      ++stateOf(view).unaskedNavigations > mostUnaskedNavigations) {
    return NavigationPolicy::cancel;
  }
  const char* address = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  if (address != nullptr) asked.url = URL::parseLeniently(address);
  NavigationPolicy policy = NavigationPolicy::cancel;
  runGuarded([&] {
    const auto decide = stateOf(view).decidePolicy;
    policy = decide ? decide(asked) : NavigationPolicy::allow;
  });
  return policy;
}

gboolean decidePolicy(WebKitWebView* view, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type,
                      gpointer) {
  bool isAllowed = false;
  switch (type) {
    case WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION:
      isAllowed = ask(view, WEBKIT_NAVIGATION_POLICY_DECISION(decision), false) == NavigationPolicy::allow;
      break;
    case WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION:
      // The answer is asked for its effect: there is no other window to go to.
      (void)ask(view, WEBKIT_NAVIGATION_POLICY_DECISION(decision), true);
      break;
    case WEBKIT_POLICY_DECISION_TYPE_RESPONSE:
      // What cannot be shown would be downloaded.
      isAllowed = webkit_response_policy_decision_is_mime_type_supported(
                      WEBKIT_RESPONSE_POLICY_DECISION(decision)) != FALSE;
      break;
  }
  if (isAllowed) {
    webkit_policy_decision_use(decision);
  } else {
    webkit_policy_decision_ignore(decision);
  }
  return TRUE;
}

void loadChanged(WebKitWebView* view, WebKitLoadEvent event, gpointer) {
  if (event == WEBKIT_LOAD_FINISHED) stateOf(view).endTimer();
}

gboolean timedOut(gpointer view) {
  stateOf(view).timer = 0;
  webkit_web_view_stop_loading(WEBKIT_WEB_VIEW(view));
  return G_SOURCE_REMOVE;
}

// Handled: no page about the failure takes the page's place.
gboolean loadFailed(WebKitWebView* view, WebKitLoadEvent, const char*, GError*, gpointer) {
  stateOf(view).endTimer();
  return TRUE;
}

gboolean certificateFailed(WebKitWebView* view, const char*, GTlsCertificate*, GTlsCertificateFlags,
                           gpointer) {
  stateOf(view).endTimer();
  return TRUE;
}

gboolean denyPermission(WebKitWebView*, WebKitPermissionRequest* request, gpointer) {
  webkit_permission_request_deny(request);
  return TRUE;
}

gboolean cancelFileChooser(WebKitWebView*, WebKitFileChooserRequest* request, gpointer) {
  webkit_file_chooser_request_cancel(request);
  return TRUE;
}

gboolean cancelAuthentication(WebKitWebView*, WebKitAuthenticationRequest* request, gpointer) {
  webkit_authentication_request_cancel(request);
  return TRUE;
}

gboolean refuse() { return TRUE; }

void cancelDownload(WebKitNetworkSession*, WebKitDownload* download, gpointer) {
  webkit_download_cancel(download);
}

// Only what serves reading is left of the menu.
gboolean trimMenu(WebKitWebView*, WebKitContextMenu* menu, WebKitHitTestResult*, gpointer) {
  for (guint at = webkit_context_menu_get_n_items(menu); at-- > 0;) {
    WebKitContextMenuItem* item = webkit_context_menu_get_item_at_position(menu, at);
    switch (webkit_context_menu_item_get_stock_action(item)) {
      case WEBKIT_CONTEXT_MENU_ACTION_COPY:
      case WEBKIT_CONTEXT_MENU_ACTION_COPY_LINK_TO_CLIPBOARD:
      case WEBKIT_CONTEXT_MENU_ACTION_SELECT_ALL:
        break;
      default:
        webkit_context_menu_remove(menu, item);
    }
  }
  return webkit_context_menu_get_n_items(menu) == 0 ? TRUE : FALSE;
}

ObjectReference<WebKitSettings> makeSettings() {
  WebKitSettings* settings = webkit_settings_new_with_settings(
      "enable-javascript-markup", FALSE, "javascript-can-open-windows-automatically", FALSE,
      "allow-modal-dialogs", FALSE, "enable-html5-database", FALSE, "enable-html5-local-storage", FALSE,
      "enable-webgl", FALSE, "enable-media-stream", FALSE, "enable-webaudio", FALSE, "enable-page-cache",
      FALSE, "hardware-acceleration-policy", WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER, nullptr);
  return ObjectReference<WebKitSettings>::adopt(settings);
}

void load(WebKitWebView* view, const URL& page, std::chrono::milliseconds timeout) {
  const auto request = ObjectReference<WebKitURIRequest>::adopt(webkit_uri_request_new(page.text().c_str()));
  if (SoupMessageHeaders* headers = webkit_uri_request_get_http_headers(request.get())) {
    soup_message_headers_replace(headers, "Cache-Control", "no-cache");
    soup_message_headers_replace(headers, "Pragma", "no-cache");
  }
  stateOf(view).timer = g_timeout_add(static_cast<guint>(timeout.count()), timedOut, view);
  webkit_web_view_load_request(view, request.get());
}

}  // namespace

GtkWidget* makeReleaseNotesView(const std::optional<URL>& page, std::chrono::milliseconds timeout,
                                const std::string& accessibleName,
                                std::function<NavigationPolicy(const NavigationAction&)> decidePolicyOf) {
  const auto context = ObjectReference<WebKitWebContext>::adopt(webkit_web_context_new());
  webkit_web_context_set_cache_model(context.get(), WEBKIT_CACHE_MODEL_DOCUMENT_VIEWER);
  const auto session = ObjectReference<WebKitNetworkSession>::adopt(webkit_network_session_new_ephemeral());
  g_signal_connect(session.get(), "download-started", G_CALLBACK(cancelDownload), nullptr);
  const ObjectReference<WebKitSettings> settings = makeSettings();
  auto* widget = GTK_WIDGET(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context.get(),
                                         "network-session", session.get(), "settings", settings.get(),
                                         "accessible-role", GTK_ACCESSIBLE_ROLE_DOCUMENT, nullptr));
  auto& state = *attachValue(widget, stateKey, std::make_unique<NotesState>());
  state.decidePolicy = std::move(decidePolicyOf);
  gtk_accessible_update_property(GTK_ACCESSIBLE(widget), GTK_ACCESSIBLE_PROPERTY_LABEL,
                                 displayableLine(accessibleName).c_str(), -1);
  gtk_widget_set_hexpand(widget, TRUE);
  gtk_widget_set_vexpand(widget, TRUE);

  const std::pair<const char*, GCallback> handlers[] = {
      {"decide-policy", G_CALLBACK(decidePolicy)},
      {"load-changed", G_CALLBACK(loadChanged)},
      {"load-failed", G_CALLBACK(loadFailed)},
      {"load-failed-with-tls-errors", G_CALLBACK(certificateFailed)},
      {"permission-request", G_CALLBACK(denyPermission)},
      {"run-file-chooser", G_CALLBACK(cancelFileChooser)},
      {"authenticate", G_CALLBACK(cancelAuthentication)},
      {"context-menu", G_CALLBACK(trimMenu)},
      {"script-dialog", G_CALLBACK(refuse)},
      {"show-notification", G_CALLBACK(refuse)},
      {"print", G_CALLBACK(refuse)},
      {"enter-fullscreen", G_CALLBACK(refuse)},
      {"run-color-chooser", G_CALLBACK(refuse)},
  };
  for (const auto& [signal, handler] : handlers) g_signal_connect(widget, signal, handler, nullptr);
  if (page) load(WEBKIT_WEB_VIEW(widget), *page, timeout);
  return widget;
}

bool canConfineWebContent(ChildProcessRunning& childProcesses) {
  const std::filesystem::path confiner = "/usr/bin/bwrap";
  std::error_code ignored;
  if (!std::filesystem::exists("/usr/bin/xdg-dbus-proxy", ignored)) return false;
  // The namespaces and file systems that the web view's processes ask for.
  const ChildProcessResult result =
      childProcesses.run(confiner, {"--unshare-all", "--die-with-parent", "--ro-bind", "/", "/", "--proc",
                                    "/proc", "--dev", "/dev", "/bin/true"});
  return !result.launchError && result.terminationStatus == 0;
}

}  // namespace pellam
