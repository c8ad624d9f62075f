// The desktop entry as the project installs it: valid, starting `pellum %u`
// and registered as the handler of the sign-in callback scheme, so the
// browser's "pellum://paired?..." link starts pellum with the link.
#include <gtest/gtest.h>

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>

#include "pellum/build_config.h"

namespace pellum {
namespace {

class DesktopEntryTest : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(prefix.isValid());
    ASSERT_EQ(QProcess::execute(QStringLiteral(PELLUM_CMAKE),
                                {QStringLiteral("--install"), QStringLiteral(PELLUM_BUILD_DIR),
                                 QStringLiteral("--prefix"), prefix.path()}),
              0);
  }

  QString applications() const { return prefix.filePath(QStringLiteral("share/applications")); }
  QString scheme() const { return QString::fromUtf8(build_config::urlScheme.data()); }

  QTemporaryDir prefix;
};

TEST_F(DesktopEntryTest, InstalledEntryIsValidAndStartsPellumWithTheLink) {
  QFile entry(applications() + QStringLiteral("/pellum.desktop"));
  ASSERT_TRUE(entry.open(QIODevice::ReadOnly));
  const QStringList lines = QString::fromUtf8(entry.readAll()).split(QLatin1Char('\n'));
  EXPECT_TRUE(lines.contains(QStringLiteral("Exec=pellum %u")));
  EXPECT_TRUE(lines.contains(QStringLiteral("MimeType=x-scheme-handler/") + scheme() + QLatin1Char(';')));
  EXPECT_EQ(QProcess::execute(QStringLiteral("desktop-file-validate"), {entry.fileName()}), 0);
}

TEST_F(DesktopEntryTest, DesktopResolvesTheSchemeToPellum) {
  ASSERT_EQ(QProcess::execute(QStringLiteral("update-desktop-database"), {applications()}), 0);
  QProcess query;
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.remove(QStringLiteral("XDG_CURRENT_DESKTOP"));
  environment.insert(QStringLiteral("XDG_DATA_DIRS"), prefix.filePath(QStringLiteral("share")));
  environment.insert(QStringLiteral("XDG_DATA_HOME"), prefix.filePath(QStringLiteral("home-data")));
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), prefix.filePath(QStringLiteral("home-config")));
  query.setProcessEnvironment(environment);
  query.start(QStringLiteral("xdg-mime"), {QStringLiteral("query"), QStringLiteral("default"),
                                           QStringLiteral("x-scheme-handler/") + scheme()});
  ASSERT_TRUE(query.waitForFinished(20000));
  EXPECT_EQ(QString::fromUtf8(query.readAllStandardOutput()).trimmed(), QStringLiteral("pellum.desktop"));
}

}  // namespace
}  // namespace pellum
