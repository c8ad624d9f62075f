#include "update/appcast.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

QByteArray feedWith(const QByteArray& items) {
  return R"(<?xml version="1.0" encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle" xmlns:dc="http://purl.org/dc/elements/1.1/">
  <channel>
    <title>Pellum</title>
    <link>https://pellum.example/</link>
)" + items +
         R"(
  </channel>
</rss>)";
}

TEST(Appcast, NewestOfSeveralReleasesWhateverTheirOrder) {
  const auto reading = readAppcast(feedWith(R"(
    <item><title>0.9</title><sparkle:version>0.9</sparkle:version><link>https://pellum.example/0.9</link></item>
    <item><title>1.10</title><sparkle:version>1.10</sparkle:version>
      <sparkle:shortVersionString>1.10 "Tern"</sparkle:shortVersionString>
      <link>https://pellum.example/1.10</link></item>
    <item><title>1.9</title><sparkle:version>1.9</sparkle:version><link>https://pellum.example/1.9</link></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->version, "1.10");
  EXPECT_EQ(reading.newest->shortVersion, "1.10 \"Tern\"");
  EXPECT_EQ(reading.newest->displayVersion(), "1.10 \"Tern\"");
  EXPECT_EQ(reading.newest->title, "1.10");
  EXPECT_EQ(reading.newest->downloadPage, "https://pellum.example/1.10");
}

TEST(Appcast, VersionsAndAddressFromTheEnclosure) {
  const auto reading = readAppcast(feedWith(R"(
    <item><title>Pellum 2.0</title>
      <enclosure url="https://downloads.pellum.example/pellum-2.0.deb" sparkle:version="200"
                 sparkle:shortVersionString="2.0" length="123" type="application/octet-stream"/></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->version, "200");
  EXPECT_EQ(reading.newest->displayVersion(), "2.0");
  EXPECT_EQ(reading.newest->downloadPage, "https://downloads.pellum.example/pellum-2.0.deb");
}

TEST(Appcast, TheItemsLinkIsPreferredToTheEnclosure) {
  const auto reading = readAppcast(feedWith(R"(
    <item><link>https://pellum.example/2.0</link>
      <enclosure url="https://downloads.pellum.example/pellum-2.0.deb" sparkle:version="2.0"/></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->downloadPage, "https://pellum.example/2.0");
}

TEST(Appcast, OnlyTheShortVersionServesForBoth) {
  const auto reading = readAppcast(feedWith(R"(
    <item><sparkle:shortVersionString>3.1</sparkle:shortVersionString><link>https://pellum.example/3.1</link></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->version, "3.1");
}

TEST(Appcast, ReleasesWithoutAVersionOrAWebAddressAreSkipped) {
  const auto reading = readAppcast(feedWith(R"(
    <item><sparkle:version>9.0</sparkle:version><link>javascript:alert(1)</link></item>
    <item><sparkle:version>8.0</sparkle:version><link>file:///etc/passwd</link></item>
    <item><sparkle:version>latest</sparkle:version><link>https://pellum.example/latest</link></item>
    <item><sparkle:version>1.1</sparkle:version><link>http://pellum.example/1.1</link></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->version, "1.1");
  EXPECT_EQ(reading.newest->downloadPage, "http://pellum.example/1.1");
}

TEST(Appcast, AnElementNamedVersionOutsideSparklesNamespaceIsNotOne) {
  const auto reading = readAppcast(feedWith(R"(
    <item><dc:version>5.0</dc:version><sparkle:version>1.0</sparkle:version><link>https://pellum.example/1.0</link></item>)"));
  ASSERT_TRUE(reading.newest) << reading.error;
  EXPECT_EQ(reading.newest->version, "1.0");
}

TEST(Appcast, MalformedFeedsSayWhy) {
  EXPECT_EQ(readAppcast("").error, "the feed is not XML: Premature end of document.");
  EXPECT_EQ(readAppcast("<html><body>Not found</body></html>").error, "the feed is not an RSS appcast");
  EXPECT_EQ(readAppcast(feedWith("")).error, "the feed lists no release");
  EXPECT_EQ(readAppcast(feedWith("<item><title>x</title></item>")).error,
            "no release in the feed has a version and a download address");
  const auto broken = readAppcast(feedWith("<item><sparkle:version>1.0</item>"));
  EXPECT_FALSE(broken.newest);
  EXPECT_TRUE(broken.error.starts_with("the feed is not valid XML: ")) << broken.error;
}

}  // namespace
}  // namespace pellum
