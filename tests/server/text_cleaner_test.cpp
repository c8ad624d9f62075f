#include "text_cleaner.h"

#include <gtest/gtest.h>

namespace pellum::server {
namespace {

struct Case {
  const char* name;
  const char* raw;
  const char* cleaned;
};

class ServerTextCleanerTest : public ::testing::TestWithParam<Case> {};

TEST_P(ServerTextCleanerTest, Cleans) { EXPECT_EQ(cleanTranscript(GetParam().raw), GetParam().cleaned); }

INSTANTIATE_TEST_SUITE_P(
    ServerRules, ServerTextCleanerTest,
    ::testing::Values(Case{"empty", "", ""}, Case{"only_blanks", "  \t ", ""},
                      Case{"capital_and_period", "hello world", "Hello world."},
                      Case{"blanks_collapsed", "  hello    world  ", "Hello world."},
                      Case{"pronoun_i", "then i said it", "Then I said it."},
                      Case{"pronoun_i_contractions", "i'm sure i'll go and i've seen it",
                           "I'm sure I'll go and I've seen it."},
                      Case{"i_inside_words_untouched", "it is in", "It is in."},
                      Case{"fillers_dropped", "um so uh we go erm now", "So we go now."},
                      Case{"only_fillers", "um uh", ""},
                      Case{"stutter_collapsed", "the the cat sat", "The cat sat."},
                      Case{"stutter_ignores_case", "The the cat", "The cat."},
                      Case{"triple_stutter", "go go go home", "Go home."},
                      Case{"stutter_across_filler", "the um the cat", "The cat."},
                      Case{"comma", "yes comma please", "Yes, please."},
                      Case{"period_starts_sentence", "stop period go on", "Stop. Go on."},
                      Case{"full_stop", "stop full stop go", "Stop. Go."},
                      Case{"question_mark", "are you there question mark", "Are you there?"},
                      Case{"exclamation", "wow exclamation mark", "Wow!"},
                      Case{"exclamation_point", "wow exclamation point", "Wow!"},
                      Case{"colon_semicolon", "note colon this semicolon that", "Note: this; that."},
                      Case{"new_line", "first new line second", "First\nSecond."},
                      Case{"new_paragraph", "first new paragraph second", "First\n\nSecond."},
                      Case{"trailing_comma_becomes_period", "and so comma", "And so."},
                      Case{"later_mark_wins", "done comma period", "Done."},
                      Case{"leading_mark_dropped", "period hello", "Hello."},
                      Case{"trailing_new_line_dropped", "hello new line", "Hello."},
                      Case{"spoken_marks_any_case", "Hello COMMA world", "Hello, world."},
                      Case{"question_then_sentence", "why question mark because", "Why? Because."}),
    [](const auto& param) { return std::string(param.param.name); });

}  // namespace
}  // namespace pellum::server
