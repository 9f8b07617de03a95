#include "links/HostText.h"

#include "system/PublicSuffixes.h"

#include <QSet>
#include <QString>

namespace fetra::HostText {

using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype maxLabelLength = 63;

/// East Asian scripts, Thai, Lao: a word may touch a host name without a space.
bool isUnspaced(char32_t character) {
    return character >= 0x2e80 || (character >= 0x0e00 && character <= 0x0eff);
}

bool isJoint(char32_t character) {
    return character == U'-' || character == U'_';
}

/// Common endings of file names that are also public suffixes.
const QSet<QString>& fileEndings() {
    static const QSet<QString> endings{u"ac"_s,  u"am"_s,  u"bz"_s, u"cab"_s, u"cc"_s, u"dds"_s,
                                       u"dot"_s, u"gd"_s,  u"la"_s, u"map"_s, u"md"_s, u"mk"_s,
                                       u"ml"_s,  u"mov"_s, u"pl"_s, u"pm"_s,  u"ps"_s, u"pub"_s,
                                       u"py"_s,  u"rs"_s,  u"sh"_s, u"so"_s,  u"tf"_s, u"zip"_s};
    return endings;
}

QStringView lastLabel(QStringView name) {
    return name.sliced(name.lastIndexOf(u'.') + 1);
}

QStringView lastTwoLabels(QStringView name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot <= 0 ? name : name.sliced(name.lastIndexOf(u'.', dot - 1) + 1);
}

} // namespace

char32_t characterAt(QStringView text, qsizetype index) {
    const QChar unit = text[index];
    if (unit.isHighSurrogate() && index + 1 < text.size() && text[index + 1].isLowSurrogate())
        return QChar::surrogateToUcs4(unit, text[index + 1]);
    return unit.unicode();
}

qsizetype width(char32_t character) {
    return QChar::requiresSurrogates(character) ? 2 : 1;
}

bool isAsciiLetterOrDigit(char32_t character) {
    return (character >= U'a' && character <= U'z') || (character >= U'A' && character <= U'Z') ||
           (character >= U'0' && character <= U'9');
}

bool isNameCharacter(char32_t character) {
    if (character < 0x80)
        return isAsciiLetterOrDigit(character);
    return QChar::isLetterOrNumber(character) || QChar::isMark(character);
}

qsizetype nameEnd(QStringView text, qsizetype begin, Neighbours neighbours) {
    qsizetype end = begin;
    qsizetype change = -1; // Where the current label turns to an unspaced script.
    char32_t previous = U'.';
    for (qsizetype index = begin; index < text.size();) {
        const char32_t character = characterAt(text, index);
        if (character == U'.') {
            if (end != index || index + 1 == text.size() || !isNameCharacter(characterAt(text, index + 1)))
                break;
            change = -1;
        } else if (isNameCharacter(character)) {
            const bool changes = isNameCharacter(previous) && isUnspaced(previous) != isUnspaced(character);
            if (changes && neighbours == Neighbours::prose)
                return index;
            if (changes && change < 0 && isUnspaced(character))
                change = index;
            end = index + width(character);
        } else if (!isJoint(character)) {
            break;
        }
        previous = character;
        index += width(character);
    }
    return change < 0 ? end : change;
}

bool isWebHost(QStringView name) {
    if (name.size() > maxLength)
        return false;
    if (name.startsWith("www."_L1, Qt::CaseInsensitive))
        return true;
    const QStringView last = lastLabel(name);
    return last.size() < name.size() && last.size() <= maxLabelLength && !name.contains(u'_') &&
           PublicSuffixes::isPublicSuffix(last);
}

bool looksLikeProse(QStringView name) {
    if (name.startsWith("www."_L1, Qt::CaseInsensitive))
        return false;
    const QStringView last = lastLabel(name);
    if (last.size() == 2 && last[0].isUpper() && last[1].isLower())
        return true;
    // "shop.com.pl" is no file: registrations are made below "com.pl".
    return fileEndings().contains(last.toString().toLower()) &&
           !PublicSuffixes::isPublicSuffix(lastTwoLabels(name));
}

} // namespace fetra::HostText
