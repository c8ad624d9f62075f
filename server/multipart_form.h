#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace pellum::server {

// One part of a multipart/form-data body. `data` points into the body.
struct FormPart {
  std::string fileName;     // empty when the part carries none
  std::string contentType;  // empty when the part carries none
  std::string_view data;
};

struct MultipartError {
  std::string description;
};

// The boundary parameter of a "multipart/form-data; boundary=..." header
// value (quoted or not); nothing when the type is another or the parameter
// is missing or empty.
std::optional<std::string> multipartBoundary(std::string_view contentType);

// Splits a multipart/form-data body into its named parts. The first part of
// a name wins. Fails on a missing opening or closing boundary, a part
// without a header block, or a part without a form-data name.
std::variant<std::map<std::string, FormPart, std::less<>>, MultipartError> parseMultipartForm(
    std::string_view body, std::string_view boundary);

}  // namespace pellum::server
