// "Check for Updates…" as the user sees it, on a real X server: the feed
// comes from a scripted HTTP peer on loopback (we run no update server),
// the answer is a window with the right words and buttons.
#include "app/update_prompt.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QMessageBox>
#include <QPushButton>

#include "support/event_loop.h"
#include "support/scripted_http_peer.h"

namespace pellum {
namespace {

using namespace std::chrono_literals;
using test::ScriptedHttpPeer;
using test::waitUntil;

QMessageBox* shownBox() {
  for (QWidget* widget : QApplication::topLevelWidgets()) {
    if (auto* box = qobject_cast<QMessageBox*>(widget); box && box->isVisible()) return box;
  }
  return nullptr;
}

QByteArray feedReply(const QByteArray& version) {
  const QByteArray body =
      R"(<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel>)"
      "<item><sparkle:version>" +
      version + "</sparkle:version><link>https://pellum.example/" + version +
      "</link></item></channel></rss>";
  return "HTTP/1.1 200 OK\r\nContent-Length: " + QByteArray::number(body.size()) +
         "\r\nConnection: close\r\n\r\n" + body;
}

class UpdatePromptTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (QMessageBox* box = shownBox()) box->close();
    test::spin(20ms);
  }
  ScriptedHttpPeer peer_;
};

TEST_F(UpdatePromptTest, ScriptedFeedWithANewerVersionOffersItsDownloadPage) {
  peer_.setReply({{feedReply("0.9"), 0, true}});
  UpdatePrompt prompt((peer_.httpBase() + "/appcast.xml").toStdString(), "0.1.0");
  prompt.checkForUpdates();
  ASSERT_TRUE(waitUntil([] { return shownBox() != nullptr; }));
  QMessageBox* box = shownBox();
  EXPECT_EQ(box->text(), QStringLiteral("A new version of Pellum is available!"));
  EXPECT_EQ(
      box->informativeText(),
      QStringLiteral("Pellum 0.9 is now available\u2014you have 0.1.0. Would you like to download it now?"));
  QStringList buttons;
  for (QAbstractButton* button : box->buttons()) buttons << button->text();
  buttons.sort();
  EXPECT_EQ(buttons, (QStringList{QStringLiteral("Download\u2026"), QStringLiteral("Later")}));
}

TEST_F(UpdatePromptTest, ScriptedFeedWithTheSameVersionSaysUpToDateAndAskingAgainReusesTheWindow) {
  peer_.setReply({{feedReply("0.1.0"), 0, true}});
  UpdatePrompt prompt((peer_.httpBase() + "/appcast.xml").toStdString(), "0.1.0");
  prompt.checkForUpdates();
  ASSERT_TRUE(waitUntil([] { return shownBox() != nullptr; }));
  EXPECT_EQ(shownBox()->text(), QStringLiteral("You\u2019re up to date!"));
  prompt.checkForUpdates();  // the window is still open: no second check
  test::spin(200ms);
  EXPECT_EQ(peer_.connectionCount(), 1);
}

TEST_F(UpdatePromptTest, UnreachableFeedIsAnErrorWindow) {
  UpdatePrompt prompt("http://127.0.0.1:9/appcast.xml", "0.1.0");
  prompt.checkForUpdates();
  ASSERT_TRUE(waitUntil([] { return shownBox() != nullptr; }));
  EXPECT_EQ(shownBox()->text(), QStringLiteral("Update Error!"));
  EXPECT_TRUE(shownBox()->informativeText().startsWith(
      QStringLiteral("Pellum could not check for updates: the update server could not be reached: ")))
      << shownBox()->informativeText().toStdString();
}

}  // namespace
}  // namespace pellum
