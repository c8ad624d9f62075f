#include "history/dictation_entry.h"

namespace pellum {

std::string_view outcomeName(DictationOutcome outcome) {
  switch (outcome) {
    case DictationOutcome::inserted:
      return "inserted";
    case DictationOutcome::failed:
      return "failed";
    case DictationOutcome::cancelled:
      return "cancelled";
    case DictationOutcome::retried:
      return "retried";
  }
  return "failed";
}

std::optional<DictationOutcome> outcomeFromName(std::string_view name) {
  for (auto outcome : {DictationOutcome::inserted, DictationOutcome::failed, DictationOutcome::cancelled,
                       DictationOutcome::retried}) {
    if (outcomeName(outcome) == name) return outcome;
  }
  return std::nullopt;
}

}  // namespace pellum
