#include "recorded_speech.h"

#include <cctype>
#include <fstream>
#include <map>
#include <sstream>

namespace pellum::server::test {
namespace {

constexpr const char* kDir = "/usr/share/pocketsphinx/test/data/librivox/";

std::vector<std::string> words(const std::string& text) {
  std::vector<std::string> out;
  std::string word;
  for (char c : text + " ") {
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '\'') {
      word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    } else if (!word.empty()) {
      out.push_back(word);
      word.clear();
    }
  }
  return out;
}

}  // namespace

std::string readFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream out;
  out << file.rdbuf();
  return out.str();
}

std::vector<Utterance> recordedSpeech() {
  // Lines look like "<s> he was not ... </s> (sense_and_sensibility_01_austen_64kb-0880)".
  std::vector<Utterance> utterances;
  std::istringstream lines(readFile(std::string(kDir) + "transcription"));
  std::string line;
  while (std::getline(lines, line)) {
    const auto open = line.rfind('(');
    const auto close = line.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) continue;
    const std::string id = line.substr(open + 1, close - open - 1);
    std::string text = line.substr(0, open);
    for (const char* marker : {"<s>", "</s>"}) {
      if (auto at = text.find(marker); at != std::string::npos) text.erase(at, std::string(marker).size());
    }
    std::string reference;
    for (const auto& word : words(text)) reference += (reference.empty() ? "" : " ") + word;
    utterances.push_back({id, std::string(kDir) + id + ".wav", reference});
  }
  return utterances;
}

double wordRecall(const std::string& hypothesis, const std::string& reference) {
  std::map<std::string, int> available;
  for (const auto& word : words(hypothesis)) ++available[word];
  const auto wanted = words(reference);
  if (wanted.empty()) return 1.0;
  int found = 0;
  for (const auto& word : wanted) {
    if (available[word] > 0) {
      --available[word];
      ++found;
    }
  }
  return static_cast<double>(found) / static_cast<double>(wanted.size());
}

}  // namespace pellum::server::test
