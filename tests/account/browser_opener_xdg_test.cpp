// The system opener runs the real xdg-open. With no desktop environment and
// no handler registered, xdg-open falls back to $BROWSER, which here is a
// script that records the address it was given.
#include "account/browser_opener.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QTemporaryDir>

#include "support/event_loop.h"

namespace pellum {
namespace {

class XdgBrowserOpenerTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(home.isValid());
    const QString browser = home.filePath(QStringLiteral("browser"));
    QFile script(browser);
    ASSERT_TRUE(script.open(QIODevice::WriteOnly));
    script.write("#!/bin/sh\nprintf '%s\\n' \"$1\" >> \"$0.log\"\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    saved = {qgetenv("BROWSER"),         qgetenv("XDG_CURRENT_DESKTOP"), qgetenv("XDG_DATA_HOME"),
             qgetenv("XDG_CONFIG_HOME"), qgetenv("XDG_DATA_DIRS"),       qgetenv("PATH")};
    qputenv("BROWSER", browser.toUtf8());
    qunsetenv("XDG_CURRENT_DESKTOP");
    qputenv("XDG_DATA_HOME", home.filePath(QStringLiteral("data")).toUtf8());
    qputenv("XDG_CONFIG_HOME", home.filePath(QStringLiteral("config")).toUtf8());
    qputenv("XDG_DATA_DIRS", home.filePath(QStringLiteral("share")).toUtf8());
    log = browser + QStringLiteral(".log");
  }

  void TearDown() override {
    const char* names[] = {"BROWSER",         "XDG_CURRENT_DESKTOP", "XDG_DATA_HOME",
                           "XDG_CONFIG_HOME", "XDG_DATA_DIRS",       "PATH"};
    for (std::size_t i = 0; i < saved.size(); ++i) {
      if (saved[i].isEmpty()) {
        qunsetenv(names[i]);
      } else {
        qputenv(names[i], saved[i]);
      }
    }
  }

  QString opened() const {
    QFile file(log);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
  }

  QTemporaryDir home;
  QString log;
  std::vector<QByteArray> saved;
};

TEST_F(XdgBrowserOpenerTest, HandsThePageToTheDefaultBrowser) {
  const std::string url =
      "http://127.0.0.1:3000/devices/pair?code_challenge=abc&state=s&device_name=Ann%27s%20desk";
  EXPECT_EQ(makeSystemBrowserOpener()->open(url), std::nullopt);
  ASSERT_TRUE(test::waitUntil([&] { return opened().endsWith(QLatin1Char('\n')); }));
  EXPECT_EQ(opened(), QString::fromStdString(url) + QLatin1Char('\n'));
}

TEST_F(XdgBrowserOpenerTest, WithoutXdgOpenItIsAnError) {
  qputenv("PATH", home.path().toUtf8());
  const auto error = makeSystemBrowserOpener()->open("http://127.0.0.1:3000/devices/pair");
  ASSERT_TRUE(error);
  EXPECT_FALSE(error->description.empty());
}

}  // namespace
}  // namespace pellum
