// The Info.plist CMake makes for Pellum.app, read back as macOS would read
// it: a property list whose keys make the bundle a menu-bar accessory that
// owns the sign-in callback's scheme, asks for the microphone with a reason,
// and carries the same server addresses and feed as the build.

#include <gtest/gtest.h>

#include <QFile>
#include <QXmlStreamReader>
#include <map>
#include <string>
#include <vector>

#include "pellum/build_config.h"

namespace pellum {
namespace {

// One value of a property list: text for strings and Booleans ("true",
// "false"), items for arrays, entries for dictionaries.
struct PlistValue {
  std::string text;
  std::vector<PlistValue> items;
  std::map<std::string, PlistValue> entries;
};

PlistValue readValue(QXmlStreamReader& xml);

std::map<std::string, PlistValue> readDict(QXmlStreamReader& xml) {
  std::map<std::string, PlistValue> entries;
  std::string key;
  while (xml.readNextStartElement()) {
    if (xml.name() == QLatin1String("key")) {
      key = xml.readElementText().toStdString();
      continue;
    }
    EXPECT_FALSE(key.empty()) << "a value without its key";
    EXPECT_EQ(entries.count(key), 0u) << "key given twice: " << key;
    entries[key] = readValue(xml);
    key.clear();
  }
  return entries;
}

PlistValue readValue(QXmlStreamReader& xml) {
  PlistValue value;
  const QString type = xml.name().toString();
  if (type == QLatin1String("dict")) {
    value.entries = readDict(xml);
  } else if (type == QLatin1String("array")) {
    while (xml.readNextStartElement()) value.items.push_back(readValue(xml));
  } else if (type == QLatin1String("true") || type == QLatin1String("false")) {
    value.text = type.toStdString();
    xml.skipCurrentElement();
  } else {
    EXPECT_EQ(type, QLatin1String("string"));
    value.text = xml.readElementText().toStdString();
  }
  return value;
}

class InfoPlistTest : public ::testing::Test {
 protected:
  void SetUp() override {
    QFile file(QStringLiteral(PELLUM_INFO_PLIST));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly)) << PELLUM_INFO_PLIST;
    QXmlStreamReader xml(&file);
    ASSERT_TRUE(xml.readNextStartElement());
    ASSERT_EQ(xml.name(), QLatin1String("plist"));
    ASSERT_TRUE(xml.readNextStartElement());
    ASSERT_EQ(xml.name(), QLatin1String("dict"));
    info = readDict(xml);
    ASSERT_FALSE(xml.hasError()) << xml.errorString().toStdString();
  }

  std::string text(const std::string& key) const {
    const auto it = info.find(key);
    return it == info.end() ? "(missing)" : it->second.text;
  }

  std::map<std::string, PlistValue> info;
};

TEST_F(InfoPlistTest, NamesTheBundleItsExecutableAndVersion) {
  EXPECT_EQ(text("CFBundleExecutable"), "Pellum");
  EXPECT_EQ(text("CFBundleIdentifier"), build_config::appId);
  EXPECT_EQ(text("CFBundlePackageType"), "APPL");
  EXPECT_EQ(text("CFBundleShortVersionString"), build_config::version);
  EXPECT_EQ(text("LSMinimumSystemVersion"), "13.0");
}

TEST_F(InfoPlistTest, IsAnAccessoryWithoutADockIcon) { EXPECT_EQ(text("LSUIElement"), "true"); }

TEST_F(InfoPlistTest, SaysWhyItWantsTheMicrophone) {
  EXPECT_NE(text("NSMicrophoneUsageDescription"), "(missing)");
  EXPECT_FALSE(text("NSMicrophoneUsageDescription").empty());
}

TEST_F(InfoPlistTest, OwnsTheSignInCallbacksScheme) {
  ASSERT_EQ(info.count("CFBundleURLTypes"), 1u);
  const auto& types = info.at("CFBundleURLTypes").items;
  ASSERT_EQ(types.size(), 1u);
  ASSERT_EQ(types[0].entries.count("CFBundleURLSchemes"), 1u);
  const auto& schemes = types[0].entries.at("CFBundleURLSchemes").items;
  ASSERT_EQ(schemes.size(), 1u);
  EXPECT_EQ(schemes[0].text, build_config::urlScheme);
}

TEST_F(InfoPlistTest, CarriesTheBuildsAddressesAndFeedUnderTheirInfoKeys) {
  EXPECT_EQ(text("PellumTranscribeURL"), build_config::transcribeURL);
  EXPECT_EQ(text("PellumWebURL"), build_config::webURL);
  EXPECT_EQ(text("SUFeedURL"), build_config::feedURL);
}

}  // namespace
}  // namespace pellum
