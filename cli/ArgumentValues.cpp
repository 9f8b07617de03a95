#include "ArgumentValues.h"

#include "cli/DisplayText.h"

#include "system/AbsoluteURL.h"
#include "torrent/TorrentDownloader.h"
#include "transfer/HTTPProbe.h"

#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <array>
#include <vector>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

constexpr auto exampleAddress = "https://example.com/file.zip"_L1;

bool hasControlCharacter(const QString& text) {
    return std::any_of(text.begin(), text.end(),
                       [](QChar c) { return c.category() == QChar::Other_Control; });
}

bool isToken(const QString& name) {
    static constexpr auto marks = "!#$%&'*+-.^_`|~"_L1;
    return !name.isEmpty() && std::all_of(name.begin(), name.end(), [](QChar c) {
        return c.unicode() < 128 && (c.isLetterOrNumber() || marks.contains(c));
    });
}

/// Fields that describe the connection, the range or the server asked: the program computes them for each
/// request.
bool isOwnHeader(const QString& name) {
    static constexpr std::array own{
        "range"_L1,
        "if-range"_L1,
        "if-match"_L1,
        "if-none-match"_L1,
        "if-modified-since"_L1,
        "if-unmodified-since"_L1,
        "accept-encoding"_L1,
        "connection"_L1,
        "proxy-connection"_L1,
        "keep-alive"_L1,
        "content-length"_L1,
        "transfer-encoding"_L1,
        "te"_L1,
        "trailer"_L1,
        "upgrade"_L1,
        "expect"_L1,
        "host"_L1,
    };
    return std::any_of(own.begin(), own.end(), [&](QLatin1StringView other) {
        return name.compare(other, Qt::CaseInsensitive) == 0;
    });
}

/// What is left of an address without a scheme when the credentials and the query are taken off.
QString withoutSecrets(QString address) {
    const qsizetype query = address.indexOf(QRegularExpression(u"[?#]"_s));
    if (query >= 0)
        address.truncate(query);
    const qsizetype slash = address.indexOf(u'/');
    const qsizetype at = address.lastIndexOf(u'@', slash < 0 ? -1 : slash);
    return address.mid(at + 1);
}

UsageError schemeMissing(const QString& text, const QString& role) {
    const QString rest = withoutSecrets(text.startsWith("//"_L1) ? text.mid(2) : text);
    const QString host = rest.section(u'/', 0, 0);
    const bool looksLikeHost =
        host.contains(u'.') && !host.startsWith(u'.') ? true : host.section(u':', 0, 0) == "localhost"_L1;
    if (looksLikeHost && !hasControlCharacter(rest))
        return {u"%1 %2 does not say how to reach the server; write https://%3 instead."_s.arg(
            role, ArgumentValues::quoted(rest), DisplayText::printable(rest))};
    return {u"%1 %2 is not a web address; write one such as %3."_s.arg(role, ArgumentValues::quoted(rest),
                                                                       exampleAddress)};
}

/// Letters to insert, drop or replace, or neighbours to swap, to get from one word to the other.
int editDistance(const QString& a, const QString& b) {
    const auto columns = size_t(b.size()) + 1;
    std::vector<int> cells((size_t(a.size()) + 1) * columns);
    const auto at = [&](qsizetype i, qsizetype j) -> int& { return cells[size_t(i) * columns + size_t(j)]; };
    for (qsizetype i = 0; i <= a.size(); ++i) {
        for (qsizetype j = 0; j <= b.size(); ++j) {
            if (i == 0 || j == 0) {
                at(i, j) = int(i + j);
                continue;
            }
            const int replaced = at(i - 1, j - 1) + (a[i - 1] == b[j - 1] ? 0 : 1);
            at(i, j) = std::min({at(i - 1, j) + 1, at(i, j - 1) + 1, replaced});
            if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
                at(i, j) = std::min(at(i, j), at(i - 2, j - 2) + 1);
        }
    }
    return at(a.size(), b.size());
}

struct NumberRule {
    QLatin1StringView option;
    qint64 least = 0;
    qint64 most = 0;
    QLatin1StringView example;
};

ArgumentValues::Read<qint64> number(const QString& text, const NumberRule& rule) {
    bool isNumber = false;
    const qint64 value = text.toLongLong(&isNumber, 10);
    if (isNumber && value >= rule.least && value <= rule.most)
        return value;
    return UsageError{u"--%1 takes a whole number from %2 to %3, not %4; write, say, %5."_s.arg(rule.option)
                          .arg(rule.least)
                          .arg(rule.most)
                          .arg(ArgumentValues::quoted(text), rule.example)};
}

} // namespace

QString ArgumentValues::quoted(const QString& text) {
    return u'"' + DisplayText::fitted(DisplayText::printable(text), 60) + u'"';
}

QString ArgumentValues::quotedAddress(const QString& address) {
    const qsizetype mark = address.indexOf("://"_L1);
    if (mark < 0)
        return quoted(withoutSecrets(address));
    return quoted(address.left(mark + 3) + withoutSecrets(address.mid(mark + 3)));
}

QString ArgumentValues::quotedLink(const QUrl& url) {
    if (url.isLocalFile())
        return quoted(url.toLocalFile());
    return url.host().isEmpty() ? quoted(TorrentDownloader::displayName(url))
                                : quotedAddress(absoluteString(url));
}

ArgumentValues::Read<QUrl> ArgumentValues::address(const QString& text, const QString& role) {
    const QString trimmed = text.trimmed();
    if (trimmed.isEmpty())
        return UsageError{u"%1 is empty; write one such as %2."_s.arg(role, exampleAddress)};
    if (hasControlCharacter(trimmed))
        return UsageError{u"%1 contains control characters; copy it again, without line breaks."_s.arg(role)};
    if (trimmed.startsWith("magnet:"_L1, Qt::CaseInsensitive))
        return UsageError{
            u"%1 is a magnet link; only a web address will do here, write one such as %2."_s.arg(
                role, exampleAddress)};
    const qsizetype mark = trimmed.indexOf("://"_L1);
    static const QRegularExpression schemeName(u"^[A-Za-z][A-Za-z0-9+.-]*$"_s);
    if (mark < 0 || !schemeName.match(trimmed.left(mark)).hasMatch())
        return schemeMissing(trimmed, role);

    const QString scheme = trimmed.left(mark).toLower();
    if (scheme != "http"_L1 && scheme != "https"_L1)
        return UsageError{
            u"%1 begins with %2://, which is not supported; write one that begins with https:// or http://."_s
                .arg(role, DisplayText::printable(scheme))};
    const QUrl url(trimmed, QUrl::TolerantMode);
    if (!url.isValid())
        return UsageError{u"%1 cannot be read; check it against the form %2."_s.arg(role, exampleAddress)};
    if (url.host().isEmpty())
        return UsageError{u"%1 names no server; write one such as %2."_s.arg(role, exampleAddress)};
    return url;
}

ArgumentValues::Read<QUrl> ArgumentValues::link(const QString& text) {
    const QString trimmed = text.trimmed();
    if (hasControlCharacter(trimmed))
        return address(text, u"The address"_s);
    if (trimmed.startsWith("magnet:"_L1, Qt::CaseInsensitive)) {
        const QUrl url(trimmed);
        static const QRegularExpression torrent(u"[?&]xt(\\.\\d+)?=urn:bt"_s,
                                                QRegularExpression::CaseInsensitiveOption);
        if (!url.isValid() || !torrent.match(trimmed).hasMatch())
            return UsageError{
                u"The magnet link names no torrent; copy it whole, it contains xt=urn:btih: and a code."_s};
        return url;
    }
    if (!trimmed.endsWith(".torrent"_L1, Qt::CaseInsensitive))
        return address(text, u"The address"_s);
    if (const QUrl url(trimmed); url.isValid() && url.isLocalFile())
        return url;
    if (trimmed.contains("://"_L1))
        return address(text, u"The address"_s);
    return QUrl::fromLocalFile(QFileInfo(trimmed).absoluteFilePath());
}

ArgumentValues::Read<qint64> ArgumentValues::connections(const QString& text) {
    return number(text, {.option = "connections"_L1, .least = 1, .most = 64, .example = "-x 16"_L1});
}

ArgumentValues::Read<qint64> ArgumentValues::maxDownloads(const QString& text) {
    return number(text, {.option = "max-downloads"_L1, .least = 1, .most = 100, .example = "-j 3"_L1});
}

ArgumentValues::Read<qint64> ArgumentValues::uploadLimit(const QString& text) {
    return number(
        text,
        {.option = "upload-limit"_L1, .least = 0, .most = 1'000'000'000, .example = "--upload-limit 64"_L1});
}

ArgumentValues::Read<QString> ArgumentValues::digest(const QString& text) {
    static const QRegularExpression hexadecimal(u"^[0-9A-Fa-f]*$"_s);
    const QString trimmed = text.trimmed();
    if (!hexadecimal.match(trimmed).hasMatch())
        return UsageError{
            u"--sha256 takes 64 hexadecimal digits (0-9, a-f) and nothing else, as printed by sha256sum."_s};
    if (trimmed.size() != 64)
        return UsageError{
            u"--sha256 takes 64 hexadecimal digits, not %1; copy the whole digest as printed by sha256sum."_s
                .arg(trimmed.size())};
    return trimmed.toLower();
}

ArgumentValues::Read<ArgumentValues::Header> ArgumentValues::header(const QString& text) {
    const qsizetype colon = text.indexOf(u':');
    if (colon < 0)
        return UsageError{u"--header takes a name, a colon and a value; write -H 'Name: value'."_s};
    const QString name = text.left(colon).trimmed();
    if (!isToken(name) || name.size() != colon)
        return UsageError{
            u"A header's name is made of letters, digits and hyphens right up to the colon; write -H 'Name: value'."_s};
    const QString value = text.mid(colon + 1);
    if (hasControlCharacter(value))
        return UsageError{
            u"The value of the header %1 contains control characters; write it on one line, without tabs."_s
                .arg(quoted(name))};
    if (isOwnHeader(name))
        return UsageError{
            u"The header %1 is set by the program itself for every request; leave it out."_s.arg(
                quoted(name))};
    return Header{name, value.trimmed()};
}

ArgumentValues::Read<LogLevel> ArgumentValues::logLevel(const QString& text) {
    static constexpr std::array levels{
        std::pair{"debug"_L1, LogLevel::debug},
        std::pair{"info"_L1, LogLevel::info},
        std::pair{"warn"_L1, LogLevel::warn},
        std::pair{"error"_L1, LogLevel::error},
    };
    for (const auto& [name, level] : levels)
        if (text == name)
            return level;
    return UsageError{
        u"--log takes debug, info, warn or error, not %1; write, say, --log info."_s.arg(quoted(text))};
}

ArgumentValues::Read<QString> ArgumentValues::output(const QString& text) {
    if (text.isEmpty())
        return UsageError{u"--output is empty; name a folder or a file, or leave the option out."_s};
    if (text == "-"_L1)
        return UsageError{u"The file cannot go to standard output, as its parts arrive in any order; name a "
                          u"folder or a file "
                          "(./- for a file called -)."_s};
    return text;
}

ArgumentValues::Read<QString> ArgumentValues::path(const QString& text, QLatin1StringView option) {
    if (text.isEmpty())
        return UsageError{u"--%1 is empty; name a file."_s.arg(option)};
    return text;
}

ArgumentValues::Read<QString> ArgumentValues::name(const QString& text) {
    if (const auto usable = HTTPProbe::usableName(text); !usable || *usable != text)
        return UsageError{
            u"--name takes the name of a file, not %1; write, say, --name disk.iso, and the folder after -o."_s
                .arg(quoted(text))};
    return text;
}

std::optional<QString> ArgumentValues::nearest(const QString& word, const QStringList& candidates) {
    std::optional<QString> best;
    if (word.size() > 30)
        return best;
    // Half the letters may be wrong, three at most; a beginning counts as one wrong letter.
    int bound = std::min<int>(3, int(word.size()) / 2) + 1;
    for (const QString& candidate : candidates) {
        const bool isBeginning = word.size() >= 2 && candidate.startsWith(word);
        const int distance = isBeginning ? 1 : editDistance(word, candidate);
        if (distance < bound) {
            bound = distance;
            best = candidate;
        }
    }
    return best;
}

} // namespace fetra::cli
