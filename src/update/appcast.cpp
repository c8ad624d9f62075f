#include "update/appcast.h"

#include <QUrl>
#include <QXmlStreamReader>

#include "update/software_version.h"

namespace pellum {
namespace {

bool isSparkle(const QXmlStreamReader& xml, QStringView name) {
  return xml.namespaceUri() == QLatin1String(kSparkleNamespace) && xml.name() == name;
}

std::string webAddressOrEmpty(const QString& text) {
  const QUrl url(text.trimmed(), QUrl::StrictMode);
  const QString scheme = url.scheme().toLower();
  if (!url.isValid() || url.host().isEmpty() ||
      (scheme != QLatin1String("https") && scheme != QLatin1String("http")))
    return {};
  return url.toString(QUrl::FullyEncoded).toStdString();
}

// Reads one <item>; the reader stands on its start and ends on its end.
AppcastRelease readItem(QXmlStreamReader& xml) {
  AppcastRelease release;
  std::string link;
  std::string enclosure;
  while (xml.readNextStartElement()) {
    if (isSparkle(xml, u"version")) {
      release.version = xml.readElementText().trimmed().toStdString();
    } else if (isSparkle(xml, u"shortVersionString")) {
      release.shortVersion = xml.readElementText().trimmed().toStdString();
    } else if (xml.namespaceUri().isEmpty() && xml.name() == u"title") {
      release.title = xml.readElementText().trimmed().toStdString();
    } else if (xml.namespaceUri().isEmpty() && xml.name() == u"link") {
      link = webAddressOrEmpty(xml.readElementText());
    } else if (xml.namespaceUri().isEmpty() && xml.name() == u"enclosure") {
      const auto attributes = xml.attributes();
      enclosure = webAddressOrEmpty(attributes.value(QString(), QStringLiteral("url")).toString());
      const auto sparkle = QLatin1String(kSparkleNamespace);
      if (release.version.empty())
        release.version =
            attributes.value(sparkle, QStringLiteral("version")).trimmed().toString().toStdString();
      if (release.shortVersion.empty())
        release.shortVersion = attributes.value(sparkle, QStringLiteral("shortVersionString"))
                                   .trimmed()
                                   .toString()
                                   .toStdString();
      xml.skipCurrentElement();
    } else {
      xml.skipCurrentElement();
    }
  }
  if (release.version.empty()) release.version = release.shortVersion;
  release.downloadPage = link.empty() ? enclosure : link;
  return release;
}

}  // namespace

AppcastReading readAppcast(const QByteArray& feed) {
  QXmlStreamReader xml(feed);
  if (!xml.readNextStartElement()) {
    return {std::nullopt, "the feed is not XML" +
                              (xml.hasError() ? ": " + xml.errorString().toStdString() : std::string())};
  }
  if (xml.name() != u"rss") return {std::nullopt, "the feed is not an RSS appcast"};
  std::optional<AppcastRelease> newest;
  int items = 0;
  while (xml.readNextStartElement()) {
    if (xml.name() != u"channel") {
      xml.skipCurrentElement();
      continue;
    }
    while (xml.readNextStartElement()) {
      if (xml.name() != u"item") {
        xml.skipCurrentElement();
        continue;
      }
      ++items;
      AppcastRelease release = readItem(xml);
      if (!isComparableVersion(release.version) || release.downloadPage.empty()) continue;
      if (!newest || compareVersions(release.version, newest->version) > 0) newest = std::move(release);
    }
  }
  if (xml.hasError()) {
    return {std::nullopt, "the feed is not valid XML: " + xml.errorString().toStdString() + " (line " +
                              std::to_string(xml.lineNumber()) + ")"};
  }
  if (!newest) {
    return {std::nullopt, items == 0 ? "the feed lists no release"
                                     : "no release in the feed has a version and a download address"};
  }
  return {std::move(newest), {}};
}

}  // namespace pellum
