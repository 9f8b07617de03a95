#include "StyledText.h"

#include "cli/DisplayText.h"

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

QLatin1StringView sequence(Ink ink) {
    switch (ink) {
    case Ink::plain:
        break;
    case Ink::strong:
        return "1"_L1;
    case Ink::faint:
        return "2"_L1;
    case Ink::server0:
        return "32"_L1;
    case Ink::server1:
        return "36"_L1;
    case Ink::server2:
        return "35"_L1;
    case Ink::server3:
        return "33"_L1;
    }
    return {};
}

} // namespace

QString StyledText::plain(const StyledLine& line) {
    QString text;
    for (const Span& span : line)
        text += span.text;
    return text;
}

QString StyledText::coloured(const StyledLine& line) {
    QString text;
    for (const Span& span : line) {
        const QLatin1StringView ink = sequence(span.ink);
        text += ink.isEmpty() ? span.text : u"\x1b[%1m%2\x1b[0m"_s.arg(ink, span.text);
    }
    return text;
}

QString StyledText::ascii(const QString& text) {
    QString result;
    for (qsizetype at = 0; at < text.size();) {
        const char32_t code = DisplayText::nextCharacter(text, at);
        if (code < 0x80)
            result += QChar(char16_t(code));
        else if (code == U'█')
            result += u'#';
        else if (code == U'▓')
            result += u'=';
        else if (code == U'▒')
            result += u'-';
        else if (code == U'░' || code == U'·')
            result += u'.';
        else if (code == U'…')
            result += u'~';
        else
            result += QString(DisplayText::cellWidth(QString::fromUcs4(&code, 1)), u'?');
    }
    return result;
}

} // namespace fetra::cli
