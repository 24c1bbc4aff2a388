#include "host/gtk/page_scheme.h"

#include <charconv>
#include <memory>

#include "core/log.h"

namespace orv {

namespace {

// Media players ask for "bytes=N-" (to the end); answering at most this much keeps memory bounded.
constexpr std::uint64_t kRangeCap = 4u << 20;

struct GObjectDeleter {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GPtr = std::unique_ptr<T, GObjectDeleter>;

bool IsNameChar(char ch) {
  return (ch >= 'a' && ch <= 'z') || (ch >= 'A' && ch <= 'Z') || (ch >= '0' && ch <= '9') || ch == '.' || ch == '-' ||
         ch == '_';
}

bool ParseNumber(std::string_view text, std::uint64_t& value) {
  if (text.empty()) return false;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && end == text.data() + text.size();
}

void Fail(WebKitURISchemeRequest* request, const char* reason) {
  GError* error = g_error_new_literal(G_IO_ERROR, G_IO_ERROR_NOT_FOUND, reason);
  webkit_uri_scheme_request_finish_error(request, error);
  g_error_free(error);
}

void Answer(WebKitURISchemeRequest* request, GInputStream* stream, std::uint64_t length, const char* type,
            std::optional<ByteRange> range, std::uint64_t size) {
  GPtr<WebKitURISchemeResponse> response(webkit_uri_scheme_response_new(stream, static_cast<gint64>(length)));
  webkit_uri_scheme_response_set_content_type(response.get(), type);
  SoupMessageHeaders* headers = soup_message_headers_new(SOUP_MESSAGE_HEADERS_RESPONSE);
  soup_message_headers_append(headers, "Accept-Ranges", "bytes");
  if (range) {
    webkit_uri_scheme_response_set_status(response.get(), 206, "Partial Content");
    const std::string content_range =
        "bytes " + std::to_string(range->first) + "-" + std::to_string(range->last) + "/" + std::to_string(size);
    soup_message_headers_append(headers, "Content-Range", content_range.c_str());
  }
  webkit_uri_scheme_response_set_http_headers(response.get(), headers);  // takes the headers
  webkit_uri_scheme_request_finish_with_response(request, response.get());
}

void Serve(WebKitURISchemeRequest* request, const std::filesystem::path& folder) {
  const std::optional<std::string> name = PageFileName(webkit_uri_scheme_request_get_uri(request));
  if (!name) return Fail(request, "endereço recusado");
  const std::string path = (folder / *name).native();
  GPtr<GFile> file(g_file_new_for_path(path.c_str()));
  GPtr<GFileInputStream> stream(g_file_read(file.get(), nullptr, nullptr));
  GPtr<GFileInfo> info(
      stream ? g_file_input_stream_query_info(stream.get(), G_FILE_ATTRIBUTE_STANDARD_SIZE, nullptr, nullptr)
             : nullptr);
  if (!info) return Fail(request, "arquivo não encontrado");
  const auto size = static_cast<std::uint64_t>(g_file_info_get_size(info.get()));

  SoupMessageHeaders* asked = webkit_uri_scheme_request_get_http_headers(request);
  const char* range_header = asked ? soup_message_headers_get_one(asked, "Range") : nullptr;
  std::optional<ByteRange> range;
  if (range_header) {
    range = ParseRange(range_header, size, kRangeCap);
    if (!range) return Fail(request, "intervalo inválido");
  }
  if (!range) return Answer(request, G_INPUT_STREAM(stream.get()), size, PageContentType(*name), range, size);

  // A range is read into memory (at most kRangeCap bytes) and answered from there.
  const std::uint64_t length = range->last - range->first + 1;
  if (!g_seekable_seek(G_SEEKABLE(stream.get()), static_cast<goffset>(range->first), G_SEEK_SET, nullptr, nullptr)) {
    return Fail(request, "falha ao ler");
  }
  auto* buffer = static_cast<char*>(g_try_malloc(length));
  gsize read = 0;
  if (!buffer || !g_input_stream_read_all(G_INPUT_STREAM(stream.get()), buffer, length, &read, nullptr, nullptr) ||
      read != length) {
    g_free(buffer);
    return Fail(request, "falha ao ler");
  }
  GBytes* bytes = g_bytes_new_take(buffer, length);
  GPtr<GInputStream> part(g_memory_input_stream_new_from_bytes(bytes));
  g_bytes_unref(bytes);
  Answer(request, part.get(), length, PageContentType(*name), range, size);
}

}  // namespace

std::optional<std::string> PageFileName(std::string_view uri) {
  const std::string_view origin = kPageOrigin;
  if (uri.substr(0, origin.size()) != origin) return std::nullopt;
  std::string_view name = uri.substr(origin.size());
  // A query or fragment does not change the file.
  if (const size_t cut = name.find_first_of("?#"); cut != std::string_view::npos) name = name.substr(0, cut);
  if (name.empty() || name.front() == '.') return std::nullopt;
  for (const char ch : name) {
    if (!IsNameChar(ch)) return std::nullopt;
  }
  return std::string(name);
}

std::optional<ByteRange> ParseRange(std::string_view header, std::uint64_t size, std::uint64_t cap) {
  constexpr std::string_view kPrefix = "bytes=";
  if (header.substr(0, kPrefix.size()) != kPrefix || size == 0 || cap == 0) return std::nullopt;
  const std::string_view range_text = header.substr(kPrefix.size());
  const size_t dash = range_text.find('-');
  if (dash == std::string_view::npos) return std::nullopt;
  const std::string_view first_text = range_text.substr(0, dash);
  const std::string_view last_text = range_text.substr(dash + 1);
  ByteRange range;
  if (first_text.empty()) {  // "bytes=-N": the last N bytes
    std::uint64_t suffix = 0;
    if (!ParseNumber(last_text, suffix) || suffix == 0) return std::nullopt;
    range.first = suffix >= size ? 0 : size - suffix;
    range.last = size - 1;
  } else {
    if (!ParseNumber(first_text, range.first) || range.first >= size) return std::nullopt;
    range.last = size - 1;
    if (!last_text.empty()) {
      std::uint64_t last = 0;
      if (!ParseNumber(last_text, last) || last < range.first) return std::nullopt;
      if (last < range.last) range.last = last;
    }
  }
  if (range.last - range.first >= cap) range.last = range.first + cap - 1;
  return range;
}

const char* PageContentType(std::string_view name) {
  const size_t dot = name.rfind('.');
  const std::string_view ext = dot == std::string_view::npos ? std::string_view() : name.substr(dot);
  if (ext == ".html") return "text/html; charset=utf-8";
  if (ext == ".js") return "text/javascript; charset=utf-8";
  if (ext == ".css") return "text/css; charset=utf-8";
  if (ext == ".png") return "image/png";
  if (ext == ".svg") return "image/svg+xml";
  if (ext == ".mp4") return "video/mp4";
  if (ext == ".webm") return "video/webm";
  return "application/octet-stream";
}

void RegisterPageScheme(WebKitWebContext* context, const std::filesystem::path& folder) {
  // The folder lives as long as the context: both last for the whole process.
  auto* served = new std::filesystem::path(folder);
  webkit_web_context_register_uri_scheme(
      context, kPageScheme,
      [](WebKitURISchemeRequest* request, gpointer data) {
        Serve(request, *static_cast<const std::filesystem::path*>(data));
      },
      served, [](gpointer data) { delete static_cast<std::filesystem::path*>(data); });
  WebKitSecurityManager* security = webkit_web_context_get_security_manager(context);
  webkit_security_manager_register_uri_scheme_as_secure(security, kPageScheme);
  webkit_security_manager_register_uri_scheme_as_cors_enabled(security, kPageScheme);
  // Local: the page may show file:// media (the background video; see page_view.cpp). Navigation to
  // file:// stays refused by the view's policy.
  webkit_security_manager_register_uri_scheme_as_local(security, kPageScheme);
}

}  // namespace orv
