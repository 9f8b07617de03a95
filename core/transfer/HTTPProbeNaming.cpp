#include "system/AtomicFile.h"
#include "system/TextTrim.h"
#include "transfer/HTTPProbe.h"
#include "transfer/NameParts.h"
#include "transfer/Reservation.h"

#include <QMimeDatabase>
#include <QStringDecoder>
#include <QTextBoundaryFinder>

#include <string_view>

namespace fetra::HTTPProbe {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxCharacters = 200;
constexpr qsizetype keptBaseCharacters = 190;
// No header is longer; beyond it a name is not worth the work of counting its characters.
constexpr qsizetype maxInputUnits = 65'536;

// What a file system takes, less the longest that is ever appended to a name: a number, the sidecar's suffix
// and that of the sidecar's temporary file.
constexpr std::string_view longestNumbering = " (10000)";
constexpr qsizetype maxNameBytes = 255;
constexpr qsizetype maxBytes =
    maxNameBytes -
    static_cast<qsizetype>(longestNumbering.size() + std::string_view(Reservation::sidecarSuffix).size() +
                           std::string_view(AtomicFile::temporarySuffix).size());
static_assert(maxBytes == 237);

bool isBlankOrLineBreak(QChar character) {
    // Those that are control characters as well never come so far.
    return TextTrim::isBlank(character) || character.category() == QChar::Separator_Line ||
           character.category() == QChar::Separator_Paragraph;
}

bool isQuote(QChar character) {
    return character == u'"' || character == u'\'';
}

QStringView upTo(QStringView text, QChar separator) {
    const qsizetype position = text.indexOf(separator);
    return position < 0 ? text : text.first(position);
}

int hexDigit(char character) {
    if (character >= '0' && character <= '9')
        return character - '0';
    if (character >= 'a' && character <= 'f')
        return character - 'a' + 10;
    if (character >= 'A' && character <= 'F')
        return character - 'A' + 10;
    return -1;
}

/// Nothing when a percent sign stands alone or the bytes are no UTF-8.
std::optional<QString> percentDecoded(QStringView text) {
    const QByteArray encoded = text.toUtf8();
    QByteArray bytes;
    bytes.reserve(encoded.size());
    for (qsizetype index = 0; index < encoded.size(); ++index) {
        if (encoded[index] != '%') {
            bytes += encoded[index];
            continue;
        }
        const int high = index + 1 < encoded.size() ? hexDigit(encoded[index + 1]) : -1;
        const int low = index + 2 < encoded.size() ? hexDigit(encoded[index + 2]) : -1;
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
        index += 2;
    }
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString decoded = decoder(bytes);
    return decoder.hasError() ? std::nullopt : std::optional(decoded);
}

std::optional<QString> extendedName(QStringView header) {
    constexpr auto key = "filename*="_L1;
    const qsizetype found = header.indexOf(key, 0, Qt::CaseInsensitive);
    if (found < 0)
        return std::nullopt;
    QStringView text = upTo(header.sliced(found + key.size()), u';');
    text = TextTrim::trimmed(TextTrim::trimmed(text, TextTrim::isBlank), isQuote);
    // Drops the character set and the language.
    if (const qsizetype quotes = text.indexOf("''"_L1); quotes >= 0)
        text = text.sliced(quotes + 2);
    auto name = percentDecoded(text);
    return name && !name->isEmpty() ? name : std::nullopt;
}

std::optional<QString> plainName(QStringView header) {
    constexpr auto key = "filename="_L1;
    const qsizetype found = header.indexOf(key, 0, Qt::CaseInsensitive);
    if (found < 0)
        return std::nullopt;
    QStringView text = header.sliced(found + key.size());
    while (text.startsWith(u' '))
        text = text.sliced(1);
    if (text.startsWith(u'"')) {
        const qsizetype closing = text.indexOf(u'"', 1);
        if (closing < 0)
            return std::nullopt;
        text = text.sliced(1, closing - 1);
    } else {
        text = TextTrim::trimmed(upTo(text, u';'), TextTrim::isBlank);
    }
    return text.isEmpty() ? std::nullopt : std::optional(text.toString());
}

bool isUnsafe(char32_t character) {
    const QChar::Category category = QChar::category(character);
    return character == U'/' || character == U':' || character == U'\\' || category == QChar::Other_Control ||
           category == QChar::Other_Format || category == QChar::Other_Surrogate;
}

QString withoutUnsafeCharacters(QStringView name) {
    QString safe;
    safe.reserve(name.size());
    for (qsizetype index = 0; index < name.size(); ++index) {
        const bool isPair =
            name[index].isHighSurrogate() && index + 1 < name.size() && name[index + 1].isLowSurrogate();
        const char32_t character =
            isPair ? QChar::surrogateToUcs4(name[index], name[index + 1]) : char32_t(name[index].unicode());
        const QStringView units = name.sliced(index, isPair ? 2 : 1);
        if (isUnsafe(character))
            safe += u'_';
        else
            safe += units;
        index += units.size() - 1;
    }
    return safe;
}

qsizetype utf8Size(QStringView text) {
    return text.toUtf8().size();
}

/// As many code points from the beginning of `text` as fit.
QStringView codePoints(QStringView text, qsizetype bytes) {
    qsizetype end = 0;
    while (end < text.size()) {
        const qsizetype units = text[end].isHighSurrogate() ? 2 : 1;
        bytes -= utf8Size(text.sliced(end, units));
        if (bytes < 0)
            break;
        end += units;
    }
    return text.first(end);
}

/// The end of the user-perceived character that begins where `finder` stands, or -1 at the end of `text`.
qsizetype nextBoundary(QTextBoundaryFinder& finder, QStringView text) {
    qsizetype next = finder.toNextBoundary();
    // After letters of some scripts the finder also stops inside surrogate pairs.
    while (next > 0 && next < text.size() && text[next].isLowSurrogate() && text[next - 1].isHighSurrogate())
        next = finder.toNextBoundary();
    return next;
}

/// The beginning of `text`, at most `characters` user-perceived ones and `bytes` of UTF-8. Only when not even
/// the first character fits is a character cut.
QStringView beginning(const QString& text, qsizetype characters, qsizetype bytes) {
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    const QStringView all(text);
    qsizetype end = 0;
    for (qsizetype count = 0; count < characters; ++count) {
        const qsizetype next = nextBoundary(finder, all);
        if (next < 0)
            break;
        bytes -= utf8Size(all.sliced(end, next - end));
        if (bytes < 0)
            return end > 0 ? all.first(end) : codePoints(all, bytes + utf8Size(all.first(next)));
        end = next;
    }
    return all.first(end);
}

/// A name of those parts with the base cut to `baseCharacters` and as many bytes as a name may have.
QString fitted(NameParts parts, qsizetype baseCharacters) {
    constexpr qsizetype leastRoom = 4; // The longest code point in UTF-8.
    QString suffix = parts.extension.isEmpty() ? QString() : u'.' + parts.extension;
    if (utf8Size(suffix) > maxBytes - leastRoom) {
        parts.base += suffix;
        suffix.clear();
    }
    QStringView base = beginning(parts.base, baseCharacters, maxBytes - utf8Size(suffix));
    while (suffix.isEmpty() && !base.isEmpty() && isBlankOrLineBreak(base.back()))
        base.chop(1);
    return base.toString() + suffix;
}

/// A download must not be taken for what Fetra keeps beside another one: its partial file and its record.
QString unlikeFilesOfOurs(QString name) {
    const QString record = QLatin1StringView(Reservation::sidecarSuffix);
    for (const QString& ending : {QString(QLatin1StringView(Reservation::partSuffix)), record,
                                  record + QLatin1StringView(AtomicFile::temporarySuffix)}) {
        if (name.endsWith(ending, Qt::CaseInsensitive))
            name[name.size() - ending.size()] = u'_';
    }
    return name;
}

} // namespace

std::optional<QString> filenameFromDisposition(const std::optional<QString>& value) {
    if (!value)
        return std::nullopt;
    auto name = extendedName(*value);
    return name ? name : plainName(*value);
}

std::optional<QString> filenameFromURL(const QUrl& url) {
    const QString path = url.path(QUrl::FullyEncoded);
    const QStringView trail = TextTrim::trimmed(path, [](QChar character) { return character == u'/'; });
    const QStringView encoded = trail.sliced(trail.lastIndexOf(u'/') + 1);
    if (encoded.isEmpty())
        return std::nullopt;
    // Twice, because servers that build links from links encode twice.
    const QString once = percentDecoded(encoded).value_or(encoded.toString());
    return percentDecoded(once).value_or(once);
}

QString sanitize(const QString& name) {
    return usableName(name).value_or(u"download"_s);
}

std::optional<QString> usableName(const QString& name) {
    const QString safe = withoutUnsafeCharacters(QStringView(name).first(qMin(name.size(), maxInputUnits)));
    QStringView text = TextTrim::trimmed(safe, isBlankOrLineBreak);
    while (text.startsWith(u'.'))
        text = text.sliced(1);
    QString result = text.toString();
    const bool hasTooManyCharacters =
        beginning(result, maxCharacters, maxInputUnits * 3).size() < result.size();
    if (hasTooManyCharacters || utf8Size(result) > maxBytes)
        result = fitted(NameParts::of(result), hasTooManyCharacters ? keptBaseCharacters : maxCharacters);
    return result.isEmpty() ? std::nullopt : std::optional(unlikeFilesOfOurs(result));
}

QString ensureExtension(const QString& name, const std::optional<QString>& mimeType) {
    if (!mimeType || !NameParts::of(name).extension.isEmpty())
        return name;
    const QString piece = mimeType->toLower().section(u';', 0, 0, QString::SectionSkipEmpty);
    const QString type = TextTrim::trimmed(piece, TextTrim::isSpaceOrTab).toString();
    // Folders, devices and media are types as well, but no data.
    if (type.isEmpty() || type == "application/octet-stream"_L1 || type == "binary/octet-stream"_L1 ||
        type.startsWith("inode/"_L1) || type.startsWith("x-content/"_L1))
        return name;
    const QMimeType known = QMimeDatabase().mimeTypeForName(type);
    const QString extension = known.preferredSuffix();
    if (!known.isValid() || known.isDefault() || extension.isEmpty())
        return name;
    const QString result = name + u'.' + extension;
    return unlikeFilesOfOurs(
        utf8Size(result) > maxBytes ? fitted({.base = name, .extension = extension}, maxCharacters) : result);
}

} // namespace fetra::HTTPProbe
