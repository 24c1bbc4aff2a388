#include "host/gtk/page_view.h"

#include <system_error>

#include "core/json.h"
#include "core/log.h"
#include "host/gtk/page_scheme.h"

namespace orv {

namespace {

// The name under window.webkit.messageHandlers that the twin posts through.
constexpr char kHandlerName[] = "orvlauncher";

// window.chrome.webview as the page uses it: postMessage(value), addEventListener("message", f) and
// its removal. The value is posted as it is; the host drops whatever is not a string.
constexpr char kBridgeScript[] = R"JS((() => {
  const canal = window.webkit.messageHandlers.orvlauncher;
  class Ponte extends EventTarget {
    postMessage(valor) { canal.postMessage(valor); }
  }
  const ponte = new Ponte();
  Object.defineProperty(window, 'chrome', { value: Object.freeze({ webview: ponte }), enumerable: true });
})();)JS";

// Media cannot play from a custom scheme (WebKit's media loader takes only http(s) and blob URLs,
// GStreamer has no handler for ours), so a background video in the UI folder is pointed at its file
// once the page has loaded. The origin is registered as local, which lets it load file:// media.
constexpr char kVideoScriptHead[] = R"JS((() => {
  const arquivo = )JS";
constexpr char kVideoScriptTail[] = R"JS(;
  // After "load", so the page's own scripts already listen for the video's events.
  const apontar = () => {
    for (const video of document.querySelectorAll('video')) {
      if (video.src === 'orvlauncher://app/fundo.mp4') video.src = arquivo;
    }
  };
  if (document.readyState === 'complete') apontar();
  else window.addEventListener('load', apontar, { once: true });
})();)JS";

// The body run for each host message, with the JSON text as the argument "texto".
constexpr char kDeliverBody[] =
    "window.chrome.webview.dispatchEvent(new MessageEvent('message', { data: JSON.parse(texto) }));";

// The live view (main thread only); null before it exists and after it is gone.
WebKitWebView* g_view = nullptr;

gboolean Deliver(gpointer data) {
  const auto* text = static_cast<const std::string*>(data);
  if (g_view == nullptr) return G_SOURCE_REMOVE;
  GVariantDict args;
  g_variant_dict_init(&args, nullptr);
  g_variant_dict_insert_value(&args, "texto", g_variant_new_string(text->c_str()));
  webkit_web_view_call_async_javascript_function(g_view, kDeliverBody, -1, g_variant_dict_end(&args), nullptr, nullptr,
                                                 nullptr, nullptr, nullptr);
  return G_SOURCE_REMOVE;
}

void OnScriptMessage(WebKitUserContentManager*, WebKitJavascriptResult* result, gpointer data) {
  G_GNUC_BEGIN_IGNORE_DEPRECATIONS
  JSCValue* value = webkit_javascript_result_get_js_value(result);
  G_GNUC_END_IGNORE_DEPRECATIONS
  // Only strings count: an object posted by mistake must not be turned into text.
  if (!jsc_value_is_string(value)) return;
  gchar* text = jsc_value_to_string(value);
  if (text == nullptr) return;
  const std::string copy(text);
  g_free(text);
  (*static_cast<PageMessageHandler*>(data))(copy);
}

gboolean RefuseContextMenu(WebKitWebView*, WebKitContextMenu*, GdkEvent*, WebKitHitTestResult*, gpointer) {
  return TRUE;
}

GtkWidget* RefuseNewView(WebKitWebView*, WebKitNavigationAction*, gpointer) { return nullptr; }

// New windows are refused; navigation stays inside the page's own origin.
gboolean DecidePolicy(WebKitWebView*, WebKitPolicyDecision* decision, WebKitPolicyDecisionType type, gpointer) {
  if (type == WEBKIT_POLICY_DECISION_TYPE_NEW_WINDOW_ACTION) {
    webkit_policy_decision_ignore(decision);
    return TRUE;
  }
  if (type != WEBKIT_POLICY_DECISION_TYPE_NAVIGATION_ACTION) return FALSE;
  WebKitNavigationAction* action =
      webkit_navigation_policy_decision_get_navigation_action(WEBKIT_NAVIGATION_POLICY_DECISION(decision));
  const char* uri = webkit_uri_request_get_uri(webkit_navigation_action_get_request(action));
  if (uri == nullptr || std::string_view(uri).rfind(kPageOrigin, 0) != 0) {
    webkit_policy_decision_ignore(decision);
    return TRUE;
  }
  return FALSE;
}

// Ctrl+wheel would zoom in some setups; the page has nothing to zoom.
gboolean SwallowCtrlScroll(GtkWidget*, GdkEventScroll* event, gpointer) {
  return (event->state & GDK_CONTROL_MASK) != 0 ? TRUE : FALSE;
}

gboolean SwallowZoomKeys(GtkWidget*, GdkEventKey* event, gpointer) {
  if ((event->state & GDK_CONTROL_MASK) == 0) return FALSE;
  switch (event->keyval) {
    case GDK_KEY_plus:
    case GDK_KEY_equal:
    case GDK_KEY_minus:
    case GDK_KEY_0:
    case GDK_KEY_KP_Add:
    case GDK_KEY_KP_Subtract:
    case GDK_KEY_KP_0: return TRUE;
    default: return FALSE;
  }
}

void OnWebProcessTerminated(WebKitWebView*, WebKitWebProcessTerminationReason reason, gpointer) {
  Log("processo da página terminou (%d)", static_cast<int>(reason));
}

void AddScript(WebKitUserContentManager* manager, const char* source, WebKitUserScriptInjectionTime when) {
  WebKitUserScript* script =
      webkit_user_script_new(source, WEBKIT_USER_CONTENT_INJECT_TOP_FRAME, when, nullptr, nullptr);
  webkit_user_content_manager_add_script(manager, script);
  webkit_user_script_unref(script);
}

void AddVideoScript(WebKitUserContentManager* manager, const std::filesystem::path& ui_folder) {
  const std::filesystem::path video = ui_folder / "fundo.mp4";
  std::error_code error;
  if (!std::filesystem::is_regular_file(video, error)) return;
  gchar* uri = g_filename_to_uri(video.c_str(), nullptr, nullptr);
  if (uri == nullptr) return;
  const std::string source = kVideoScriptHead + JsonQuote(uri) + kVideoScriptTail;
  g_free(uri);
  AddScript(manager, source.c_str(), WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_END);
}

WebKitUserContentManager* MakeContentManager(PageMessageHandler on_message, const std::filesystem::path& ui_folder) {
  WebKitUserContentManager* manager = webkit_user_content_manager_new();
  auto* handler = new PageMessageHandler(std::move(on_message));
  // Connected before the name is registered, so no early message is lost.
  g_signal_connect_data(
      manager, "script-message-received::orvlauncher", G_CALLBACK(OnScriptMessage), handler,
      [](gpointer data, GClosure*) { delete static_cast<PageMessageHandler*>(data); }, GConnectFlags(0));
  webkit_user_content_manager_register_script_message_handler(manager, kHandlerName);
  AddScript(manager, kBridgeScript, WEBKIT_USER_SCRIPT_INJECT_AT_DOCUMENT_START);
  AddVideoScript(manager, ui_folder);
  return manager;
}

WebKitSettings* MakeSettings() {
  return webkit_settings_new_with_settings("enable-developer-extras", FALSE, "enable-back-forward-navigation-gestures",
                                           FALSE, "javascript-can-open-windows-automatically", FALSE, "enable-media",
                                           TRUE, "media-playback-requires-user-gesture", FALSE, nullptr);
}

}  // namespace

std::string_view BridgeScript() { return kBridgeScript; }

WebKitWebView* CreatePageView(const std::filesystem::path& ui_folder, PageMessageHandler on_message) {
  // Nothing the page stores outlives the process: the launcher keeps no browser data on disk.
  WebKitWebContext* context = webkit_web_context_new_ephemeral();
  RegisterPageScheme(context, ui_folder);
  WebKitUserContentManager* manager = MakeContentManager(std::move(on_message), ui_folder);
  WebKitSettings* settings = MakeSettings();
  auto* view = WEBKIT_WEB_VIEW(g_object_new(WEBKIT_TYPE_WEB_VIEW, "web-context", context, "user-content-manager",
                                            manager, "settings", settings, nullptr));
  g_object_unref(settings);
  g_object_unref(manager);
  g_object_unref(context);

  const GdkRGBA background = {12 / 255.0, 10 / 255.0, 8 / 255.0, 1.0};
  webkit_web_view_set_background_color(view, &background);
  g_signal_connect(view, "context-menu", G_CALLBACK(RefuseContextMenu), nullptr);
  g_signal_connect(view, "create", G_CALLBACK(RefuseNewView), nullptr);
  g_signal_connect(view, "decide-policy", G_CALLBACK(DecidePolicy), nullptr);
  g_signal_connect(view, "scroll-event", G_CALLBACK(SwallowCtrlScroll), nullptr);
  g_signal_connect(view, "key-press-event", G_CALLBACK(SwallowZoomKeys), nullptr);
  g_signal_connect(view, "web-process-terminated", G_CALLBACK(OnWebProcessTerminated), nullptr);
  g_signal_connect(view, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) { g_view = nullptr; }), nullptr);

  g_view = view;
  webkit_web_view_load_uri(view, kPageUrl);
  return view;
}

void PostToPage(const std::string& json) {
  // Text that is not UTF-8 cannot cross into the page's strings; drop it rather than mangle it.
  if (!g_utf8_validate(json.data(), static_cast<gssize>(json.size()), nullptr)) return;
  g_idle_add_full(G_PRIORITY_DEFAULT, Deliver, new std::string(json),
                  [](gpointer data) { delete static_cast<std::string*>(data); });
}

}  // namespace orv
