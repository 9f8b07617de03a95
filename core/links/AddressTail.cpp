#include "links/AddressTail.h"

#include "links/HostText.h"

#include <QString>

#include <array>

namespace fetra::AddressTail {

using namespace Qt::StringLiterals;

namespace {

constexpr std::array endingEntities{"&quot;"_L1, "&lt;"_L1,  "&gt;"_L1,   "&apos;"_L1, "&#39;"_L1,
                                    "&#039;"_L1, "&#34;"_L1, "&#x27;"_L1, "&nbsp;"_L1};

bool isEndingEntity(QStringView text) {
    for (const QLatin1StringView entity : endingEntities)
        if (text.startsWith(entity))
            return true;
    return false;
}

bool isAddress(QStringView text) {
    return text.startsWith("http://"_L1, Qt::CaseInsensitive) ||
           text.startsWith("https://"_L1, Qt::CaseInsensitive);
}

/// Whether a character outside ASCII goes on with an address: letters, digits and what joins them.
bool joins(char32_t character) {
    constexpr char32_t nonJoiner = 0x200c;
    constexpr char32_t joiner = 0x200d;
    constexpr char32_t middleDot = 0xb7;
    constexpr char32_t katakanaMiddleDot = 0x30fb;
    constexpr char32_t emDash = 0x2014;
    switch (QChar::category(character)) {
    case QChar::Punctuation_Connector:
        return true;
    case QChar::Punctuation_Dash:
        return character != emDash;
    default:
        return HostText::isNameCharacter(character) || character == nonJoiner || character == joiner ||
               character == middleDot || character == katakanaMiddleDot;
    }
}

/// Counts brackets of the three kinds.
class Brackets {
public:
    /// False for a closing bracket that nothing opened.
    bool take(char32_t character) {
        const qsizetype opening = QStringView(u"([{").indexOf(QChar(character));
        if (opening >= 0)
            ++open_[static_cast<size_t>(opening)];
        const qsizetype closing = QStringView(u")]}").indexOf(QChar(character));
        return closing < 0 || --open_[static_cast<size_t>(closing)] >= 0;
    }

private:
    std::array<qsizetype, 3> open_{};
};

/// Whether the ASCII `character` ends an address, whatever stands in front; `rest` begins with it.
bool endsAddress(char32_t character, QStringView rest) {
    switch (character) {
    case U'"':
    case U'<':
    case U'>':
    case U'\\':
    case U'`':
        return true;
    case U'&':
        return isEndingEntity(rest);
    case U'[':
        return rest.startsWith("[/"_L1); // "[url]address[/url]"
    case U',':
    case U';':
    case U'|':
        return isAddress(rest.sliced(1));
    default:
        return character <= U' ' || character == 0x7f;
    }
}

} // namespace

qsizetype end(QStringView text, qsizetype begin, char16_t before) {
    Brackets brackets;
    const bool quoted = before == u'\'' || before == u'|';
    qsizetype index = begin;
    while (index < text.size()) {
        const char32_t character = HostText::characterAt(text, index);
        if (character >= 0x80) {
            if (!joins(character))
                break;
        } else if (endsAddress(character, text.sliced(index)) || (quoted && character == before) ||
                   !brackets.take(character)) {
            break;
        }
        index += HostText::width(character);
    }
    return index;
}

QStringView trimmed(QStringView tail, char16_t before) {
    const bool emphasised = before == u'*' || before == u'_' || before == u'~';
    qsizetype size = tail.size();
    while (size > 0) {
        const QChar last = tail[size - 1];
        const bool foreignDash = last.unicode() >= 0x80 && last.category() == QChar::Punctuation_Dash;
        if (!foreignDash && !u".,;:!?'([{|"_s.contains(last) && !(emphasised && last == QChar(before)))
            break;
        --size;
    }
    return tail.first(size);
}

} // namespace fetra::AddressTail
