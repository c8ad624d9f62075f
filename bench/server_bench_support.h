#pragma once

#include <unistd.h>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

namespace pellum::server::bench {

// Words of a transcript as sclite compares them: lower case, letters and
// apostrophes only.
inline std::vector<std::string> scoringWords(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (char c : text + " ") {
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '\'') {
      word.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(c))));
    } else if (!word.empty()) {
      words.push_back(word);
      word.clear();
    }
  }
  return words;
}

// Substitutions + deletions + insertions of the minimum-edit alignment, as
// sclite counts them.
inline std::size_t wordErrors(const std::vector<std::string>& reference,
                              const std::vector<std::string>& hypothesis) {
  std::vector<std::size_t> row(hypothesis.size() + 1);
  for (std::size_t j = 0; j <= hypothesis.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= reference.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= hypothesis.size(); ++j) {
      const std::size_t above = row[j];
      row[j] =
          std::min({row[j] + 1, row[j - 1] + 1, diagonal + (reference[i - 1] == hypothesis[j - 1] ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[hypothesis.size()];
}

// Accumulates a word error rate over utterances.
struct WordErrorRate {
  std::size_t errors = 0;
  std::size_t words = 0;
  void add(const std::string& reference, const std::string& hypothesis) {
    const auto ref = scoringWords(reference);
    errors += wordErrors(ref, scoringWords(hypothesis));
    words += ref.size();
  }
  double percent() const {
    return words ? 100.0 * static_cast<double>(errors) / static_cast<double>(words) : 0;
  }
};

// One utterance for sclite's trn format: "words (speaker_id)".
inline std::string trnLine(const std::string& text, const std::string& id) {
  std::string line;
  for (const auto& word : scoringWords(text)) line += word + " ";
  return line + "(bench_" + id + ")\n";
}

// sclite's "Sum/Avg" line for two trn files, when sctk is installed; the
// alignment above should agree with it.
inline std::string scliteSummary(const std::string& reference, const std::string& hypothesis) {
  char directory[] = "/tmp/pellum-sclite-XXXXXX";
  if (!mkdtemp(directory)) return "sclite: no temporary directory";
  const std::string ref = std::string(directory) + "/ref.trn", hyp = std::string(directory) + "/hyp.trn";
  for (const auto& [path, text] : {std::pair{ref, reference}, std::pair{hyp, hypothesis}}) {
    if (std::FILE* file = std::fopen(path.c_str(), "w")) {
      std::fputs(text.c_str(), file);
      std::fclose(file);
    }
  }
  const std::string command =
      "sctk sclite -r " + ref + " trn -h " + hyp + " trn -i spu_id -o sum stdout 2>/dev/null | grep Sum/Avg";
  std::string summary;
  if (std::FILE* pipe = popen(command.c_str(), "r")) {
    char buffer[256];
    while (std::fgets(buffer, sizeof buffer, pipe)) summary += buffer;
    pclose(pipe);
  }
  std::remove(ref.c_str());
  std::remove(hyp.c_str());
  rmdir(directory);
  while (!summary.empty() && summary.back() == '\n') summary.pop_back();
  return summary.empty() ? "sclite: not installed (package sctk)" : "sclite: " + summary;
}

inline double percentile(std::vector<double> values, double p) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  const double rank = p / 100.0 * static_cast<double>(values.size() - 1);
  const auto low = static_cast<std::size_t>(std::floor(rank));
  const auto high = static_cast<std::size_t>(std::ceil(rank));
  return values[low] + (values[high] - values[low]) * (rank - static_cast<double>(low));
}

}  // namespace pellum::server::bench
