#include "multipart_form.h"

#include <cctype>

namespace pellum::server {
namespace {

std::string lowered(std::string_view text) {
  std::string out(text);
  for (char& c : out) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return out;
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r'))
    text.remove_suffix(1);
  return text;
}

// The value of `name=` among "; "-separated parameters, unquoted.
std::optional<std::string> parameter(std::string_view header, std::string_view name) {
  std::size_t at = header.find(';');
  while (at != std::string_view::npos) {
    std::string_view rest = trimmed(header.substr(at + 1));
    const std::size_t eq = rest.find('=');
    const std::size_t semi = rest.find(';');
    if (eq != std::string_view::npos && (semi == std::string_view::npos || eq < semi) &&
        lowered(trimmed(rest.substr(0, eq))) == name) {
      std::string_view value = trimmed(rest.substr(eq + 1));
      if (!value.empty() && value.front() == '"') {
        const std::size_t close = value.find('"', 1);
        if (close == std::string_view::npos) return std::nullopt;
        return std::string(value.substr(1, close - 1));
      }
      return std::string(trimmed(value.substr(0, value.find(';'))));
    }
    const std::size_t next = header.find(';', at + 1);
    at = next;
  }
  return std::nullopt;
}

struct PartHeaders {
  std::optional<std::string> name;
  std::string fileName;
  std::string contentType;
};

PartHeaders readHeaders(std::string_view block) {
  PartHeaders headers;
  std::size_t at = 0;
  while (at < block.size()) {
    std::size_t end = block.find("\r\n", at);
    if (end == std::string_view::npos) end = block.size();
    const std::string_view line = block.substr(at, end - at);
    at = end + 2;
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) continue;
    const std::string field = lowered(trimmed(line.substr(0, colon)));
    const std::string_view value = trimmed(line.substr(colon + 1));
    if (field == "content-disposition" && lowered(value.substr(0, value.find(';'))) == "form-data") {
      headers.name = parameter(value, "name");
      headers.fileName = parameter(value, "filename").value_or("");
    } else if (field == "content-type") {
      headers.contentType = std::string(value);
    }
  }
  return headers;
}

}  // namespace

std::optional<std::string> multipartBoundary(std::string_view contentType) {
  if (lowered(trimmed(contentType.substr(0, contentType.find(';')))) != "multipart/form-data")
    return std::nullopt;
  auto boundary = parameter(contentType, "boundary");
  if (!boundary || boundary->empty() || boundary->size() > 200) return std::nullopt;
  return boundary;
}

std::variant<std::map<std::string, FormPart, std::less<>>, MultipartError> parseMultipartForm(
    std::string_view body, std::string_view boundary) {
  const std::string delimiter = "--" + std::string(boundary);
  std::size_t at = body.find(delimiter);
  if (at == std::string_view::npos || (at != 0 && (at < 2 || body.substr(at - 2, 2) != "\r\n"))) {
    return MultipartError{"form has no opening boundary"};
  }
  std::map<std::string, FormPart, std::less<>> parts;
  const std::string separator = "\r\n" + delimiter;
  at += delimiter.size();
  while (true) {
    if (body.substr(at, 2) == "--") return parts;
    const std::size_t lineEnd = body.find("\r\n", at);
    if (lineEnd == std::string_view::npos) return MultipartError{"form ends inside a boundary line"};
    const std::size_t headersEnd = body.find("\r\n\r\n", lineEnd);
    const std::size_t next = body.find(separator, lineEnd);
    if (next == std::string_view::npos) return MultipartError{"form has no closing boundary"};
    if (headersEnd == std::string_view::npos || headersEnd + 4 > next + 2) {
      return MultipartError{"form part has no header block"};
    }
    // A part with no header lines ends its header block at the boundary
    // line's own line end; its block is empty, not the rest of the body.
    const std::size_t blockStart = lineEnd + 2;
    const std::string_view block =
        headersEnd > lineEnd ? body.substr(blockStart, headersEnd - blockStart) : std::string_view{};
    PartHeaders headers = readHeaders(block);
    if (!headers.name || headers.name->empty()) return MultipartError{"form part has no name"};
    const std::size_t dataStart = headersEnd + 4;
    const std::string_view data =
        dataStart <= next ? body.substr(dataStart, next - dataStart) : std::string_view{};
    parts.try_emplace(*headers.name,
                      FormPart{std::move(headers.fileName), std::move(headers.contentType), data});
    at = next + separator.size();
  }
}

}  // namespace pellum::server
