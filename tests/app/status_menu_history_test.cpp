// The recent dictations' rows of the tray menu on a real X server: "Paste
// Last Transcript" pastes through the real text inserter into a GTK entry
// (an application we did not write), and a "Recent" row puts its text on
// the clipboard.
#include <gtest/gtest.h>

#include <QClipboard>
#include <QDateTime>
#include <QGuiApplication>
#include <QTemporaryDir>

#include "app/status_menu_controller.h"
#include "history/dictation_history.h"
#include "keyboard/text_inserter.h"
#include "support/dictation_fakes.h"
#include "support/event_loop.h"
#include "support/fresh_preferences.h"
#include "support/gtk_entry_process.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::spin;
using test::waitUntil;

class StatusMenuHistoryPlatformTest : public ::testing::Test {
 protected:
  void SetUp() override {
    test::useFreshPreferences(config_.path());
    auto opened = DictationHistory::open(config_.filePath(QStringLiteral("history.sqlite3")).toStdString());
    ASSERT_TRUE(std::holds_alternative<std::unique_ptr<DictationHistory>>(opened));
    history_ = std::move(std::get<std::unique_ptr<DictationHistory>>(opened));
    DictationEntry entry;
    entry.startedAt = QDateTime::currentMSecsSinceEpoch();
    entry.outcome = DictationOutcome::inserted;
    entry.text = "Said before, pasted again.";
    id_ = std::get<std::int64_t>(history_->add(entry));
    inserter_ = TextInserter::create();
    StatusMenuParts parts;
    parts.statusIcon = &icon_;
    parts.isSignedIn = [] { return true; };
    parts.history = history_;
    parts.pasteText = [this](const std::string& text) { inserter_->insert(text); };
    menu_ = std::make_unique<StatusMenuController>(std::move(parts));
    menu_->buildMenu();
  }

  // Chooses a row as the user does: through the handler the menu was built with.
  void choose(MenuAction action, const std::string& object = {}) { icon_.menuHandler(action, object); }

  QTemporaryDir config_;
  std::shared_ptr<DictationHistory> history_;
  std::int64_t id_ = 0;
  std::unique_ptr<TextInserter> inserter_;
  test::RecordingStatusIcon icon_;
  std::unique_ptr<StatusMenuController> menu_;
};

TEST_F(StatusMenuHistoryPlatformTest, PasteLastTranscriptPastesIntoAGtkEntry) {
  test::GtkEntryProcess gtk;
  ASSERT_TRUE(gtk.waitUntilFocused());
  choose(MenuAction::pasteLastTranscript);
  // The entry's text can be read only once the dialog is confirmed: give the
  // paste (the clipboard handed over, then Ctrl+V) time to land first.
  spin(1500ms);
  EXPECT_EQ(gtk.confirm(), QStringLiteral("Said before, pasted again."));
}

TEST_F(StatusMenuHistoryPlatformTest, ARecentRowCopiesItsText) {
  choose(MenuAction::copyRecentDictation, std::to_string(id_));
  ASSERT_TRUE(waitUntil(
      [] { return QGuiApplication::clipboard()->text() == QStringLiteral("Said before, pasted again."); },
      2s));
}

}  // namespace
}  // namespace pellum
