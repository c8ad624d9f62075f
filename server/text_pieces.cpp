#include "text_pieces.h"

namespace pellum::server {
namespace {

bool endsSentence(char c) { return c == '.' || c == '?' || c == '!' || c == '\n'; }
bool isBlank(char c) { return c == ' ' || c == '\t'; }

}  // namespace

std::vector<std::string> textPieces(std::string_view text, std::size_t maxWords) {
  std::vector<std::string> pieces;
  std::size_t start = 0;
  std::size_t words = 0;
  std::size_t at = 0;
  while (at < text.size()) {
    const char c = text[at++];
    const bool wordEnds =
        !isBlank(c) && c != '\n' && (at == text.size() || isBlank(text[at]) || text[at] == '\n');
    if (wordEnds) ++words;
    if (endsSentence(c) || words >= maxWords) {
      while (at < text.size() && (isBlank(text[at]) || text[at] == '\n')) ++at;
      pieces.emplace_back(text.substr(start, at - start));
      start = at;
      words = 0;
    }
  }
  if (start < text.size()) pieces.emplace_back(text.substr(start));
  return pieces;
}

}  // namespace pellum::server
