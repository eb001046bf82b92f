#include "update/Appcast.h"

#include <algorithm>
#include <charconv>
#include <compare>

#include <QSysInfo>
#include <QXmlStreamReader>

#include "core/Base64.h"
#include "core/DaemonError.h"
#include "core/Localized.h"
#include "core/Text.h"
#include "update/ReleaseNotes.h"
#include "update/VersionComparison.h"
#include "update/XMLLimits.h"

namespace appcast {

namespace {

// A feed of a release a day reaches this after years, and its maker can drop the old ones.
constexpr std::size_t maximumItems = 2000;
// Characters of a version. It stands on one line of a window.
constexpr std::size_t maximumVersion = 64;
constexpr std::size_t maximumURL = 2048;
// Characters of what the reader says of a fault, in which it repeats the feed.
constexpr std::size_t maximumFault = 200;

std::string trimmed(QStringView value) {
    return value.trimmed().toString().toStdString();
}

// The attribute of that local name, in whatever name space.
std::string attribute(const QXmlStreamAttributes& attributes, QStringView name) {
    const auto found = std::ranges::find(attributes, name, &QXmlStreamAttribute::name);
    return found == attributes.end() ? std::string() : trimmed(found->value());
}

std::optional<std::uint64_t> lengthFrom(std::string_view digits) {
    std::uint64_t length = 0;
    const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), length);
    if (read.ec != std::errc() || read.ptr != digits.data() + digits.size() || length == 0)
        return std::nullopt;
    return length;
}

std::optional<ed25519::Signature> signatureFrom(std::string_view text) {
    const auto bytes = base64::decode(text);
    if (!bytes || bytes->size() != ed25519::signatureSize)
        return std::nullopt;
    ed25519::Signature signature;
    std::ranges::copy(*bytes, signature.begin());
    return signature;
}

// Processors have several names.
QString processor(const QString& name) {
    QString lower = name.toLower();
    if (lower == u"amd64" || lower == u"x64")
        return QStringLiteral("x86_64");
    if (lower == u"aarch64")
        return QStringLiteral("arm64");
    return lower;
}

// A file that names no system is for every one.
bool fitsThisSystem(const QXmlStreamAttributes& enclosure) {
    const QString os = QString::fromStdString(attribute(enclosure, u"os"));
    const QString arch = QString::fromStdString(attribute(enclosure, u"arch"));
    return (os.isEmpty() || os.compare(QSysInfo::kernelType(), Qt::CaseInsensitive) == 0) &&
           (arch.isEmpty() || processor(arch) == processor(QSysInfo::buildCpuArchitecture()));
}

// What stands on one line, shortened to what fits there.
std::string oneLine(std::string_view text) {
    return text::visible(text::prefix(text, maximumVersion, 4 * maximumVersion));
}

// What the elements and the attributes of an item say, before they are looked at.
struct RawItem {
    std::string version{};
    std::string displayVersion{};
    std::string description{};
    std::optional<QXmlStreamAttributes> enclosure{};
};

RawItem readItem(QXmlStreamReader& reader) {
    constexpr auto withChildren = QXmlStreamReader::IncludeChildElements;
    RawItem item;
    while (reader.readNextStartElement()) {
        const QStringView name = reader.name();
        if (name == u"version" && item.version.empty()) {
            item.version = trimmed(reader.readElementText(withChildren));
        } else if (name == u"shortVersionString" && item.displayVersion.empty()) {
            item.displayVersion = trimmed(reader.readElementText(withChildren));
        } else if (name == u"description" && item.description.empty()) {
            item.description = reader.readElementText(withChildren).toStdString();
        } else {
            if (name == u"enclosure" && !item.enclosure && fitsThisSystem(reader.attributes()))
                item.enclosure = reader.attributes();
            reader.skipCurrentElement();
        }
    }
    return item;
}

// Nothing when it is not for this system, or lacks what an update needs.
std::optional<AppcastItem> itemFrom(const RawItem& raw) {
    if (!raw.enclosure)
        return std::nullopt;
    AppcastItem item;
    item.version = raw.version.empty() ? attribute(*raw.enclosure, u"version") : raw.version;
    item.url = attribute(*raw.enclosure, u"url");
    // A version that a person would read as another one is none.
    if (item.version.empty() || oneLine(item.version) != item.version || item.url.empty() ||
        item.url.size() > maximumURL)
        return std::nullopt;
    item.displayVersion =
        oneLine(raw.displayVersion.empty() ? attribute(*raw.enclosure, u"shortVersionString")
                                           : raw.displayVersion);
    if (item.displayVersion.empty())
        item.displayVersion = item.version;
    item.notes = releasenotes::plain(raw.description);
    item.length = lengthFrom(attribute(*raw.enclosure, u"length"));
    item.signature = signatureFrom(attribute(*raw.enclosure, u"edSignature"));
    return item;
}

void readChannel(QXmlStreamReader& reader, std::vector<AppcastItem>& items) {
    std::size_t count = 0;
    while (reader.readNextStartElement()) {
        if (reader.name() != u"item") {
            reader.skipCurrentElement();
            continue;
        }
        if (++count > maximumItems)
            throw DaemonError(localized("更新來源列出的版本太多"));
        if (auto item = itemFrom(readItem(reader)); item && !reader.hasError())
            items.push_back(std::move(*item));
    }
}

} // namespace

std::vector<AppcastItem> parse(std::string_view bytes) {
    if (bytes.size() > maximumSize)
        throw DaemonError(localized("更新來源太大"));
    xmllimits::require(bytes);
    QXmlStreamReader reader(
        QByteArray::fromRawData(bytes.data(), static_cast<qsizetype>(bytes.size())));
    std::vector<AppcastItem> items;
    bool isFeed = false;
    // To the end: of a feed that was cut off, nothing is believed.
    while (!reader.atEnd()) {
        if (reader.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (reader.name() != u"rss")
            throw DaemonError(localized("更新來源不是 RSS"));
        while (reader.readNextStartElement()) {
            if (reader.name() == u"channel") {
                isFeed = true;
                readChannel(reader, items);
            } else {
                reader.skipCurrentElement();
            }
        }
    }
    if (reader.hasError()) {
        const std::string fault = reader.errorString().toStdString();
        throw DaemonError(
            localized("更新來源的第 %@ 行讀不懂：%@",
                      {std::to_string(reader.lineNumber()),
                       text::visible(text::prefix(fault, maximumFault, 4 * maximumFault))}));
    }
    if (!isFeed)
        throw DaemonError(localized("更新來源不是 RSS"));
    return items;
}

std::optional<AppcastItem> newest(const std::vector<AppcastItem>& items,
                                  std::string_view currentVersion) {
    const AppcastItem* best = nullptr;
    for (const AppcastItem& item : items) {
        if (std::is_gt(compareVersions(item.version, best ? best->version : currentVersion)))
            best = &item;
    }
    return best ? std::optional(*best) : std::nullopt;
}

} // namespace appcast
