#include "DisplayText.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace fetra::cli {
namespace {

struct CodeRange {
    char32_t first;
    char32_t last;
};

// East Asian wide and full-width blocks, and the pictographs that terminals draw over two cells.
constexpr std::array wideRanges{
    CodeRange{0x1100, 0x115F},   CodeRange{0x231A, 0x231B},   CodeRange{0x2329, 0x232A},
    CodeRange{0x23E9, 0x23EC},   CodeRange{0x23F0, 0x23F0},   CodeRange{0x23F3, 0x23F3},
    CodeRange{0x25FD, 0x25FE},   CodeRange{0x2614, 0x2615},   CodeRange{0x2648, 0x2653},
    CodeRange{0x267F, 0x267F},   CodeRange{0x2693, 0x2693},   CodeRange{0x26A1, 0x26A1},
    CodeRange{0x26AA, 0x26AB},   CodeRange{0x26BD, 0x26BE},   CodeRange{0x26C4, 0x26C5},
    CodeRange{0x26CE, 0x26CE},   CodeRange{0x26D4, 0x26D4},   CodeRange{0x26EA, 0x26EA},
    CodeRange{0x26F2, 0x26F3},   CodeRange{0x26F5, 0x26F5},   CodeRange{0x26FA, 0x26FA},
    CodeRange{0x26FD, 0x26FD},   CodeRange{0x2705, 0x2705},   CodeRange{0x270A, 0x270B},
    CodeRange{0x2728, 0x2728},   CodeRange{0x274C, 0x274C},   CodeRange{0x274E, 0x274E},
    CodeRange{0x2753, 0x2755},   CodeRange{0x2757, 0x2757},   CodeRange{0x2795, 0x2797},
    CodeRange{0x27B0, 0x27B0},   CodeRange{0x27BF, 0x27BF},   CodeRange{0x2B1B, 0x2B1C},
    CodeRange{0x2B50, 0x2B50},   CodeRange{0x2B55, 0x2B55},   CodeRange{0x2E80, 0x303E},
    CodeRange{0x3041, 0x4DBF},   CodeRange{0x4E00, 0xA4CF},   CodeRange{0xA960, 0xA97F},
    CodeRange{0xAC00, 0xD7A3},   CodeRange{0xF900, 0xFAFF},   CodeRange{0xFE10, 0xFE19},
    CodeRange{0xFE30, 0xFE6F},   CodeRange{0xFF00, 0xFF60},   CodeRange{0xFFE0, 0xFFE6},
    CodeRange{0x16FE0, 0x18CFF}, CodeRange{0x1AFF0, 0x1B2FF}, CodeRange{0x1D300, 0x1D376},
    CodeRange{0x1F000, 0x1FAFF}, CodeRange{0x20000, 0x3FFFD},
};

bool isWide(char32_t code) {
    const auto* range =
        std::lower_bound(wideRanges.begin(), wideRanges.end(), code,
                         [](const CodeRange& candidate, char32_t value) { return candidate.last < value; });
    return range != wideRanges.end() && range->first <= code;
}

int codePointWidth(char32_t code) {
    // The selector for the picture form makes its neighbour wide, on some terminals.
    if (code == 0xFE0F)
        return 1;
    switch (QChar::category(code)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
    case QChar::Other_Format:
        return 0;
    default:
        return isWide(code) ? 2 : 1;
    }
}

bool isUnsafe(char32_t code) {
    // Joiners shape letters and emoji, and do nothing else.
    if (code == 0x200C || code == 0x200D)
        return false;
    switch (QChar::category(code)) {
    case QChar::Other_Control:
    case QChar::Other_Format:
    case QChar::Other_Surrogate:
    case QChar::Other_NotAssigned:
    case QChar::Separator_Line:
    case QChar::Separator_Paragraph:
        return true;
    default:
        return false;
    }
}

QString cutFromEnd(QStringView text, int cells) {
    qsizetype from = text.size();
    qsizetype kept = from;
    int used = 0;
    while (from > 0) {
        const qsizetype step = from > 1 && text[from - 1].isLowSurrogate() ? 2 : 1;
        const int width = DisplayText::cellWidth(text.mid(from - step, step));
        if (used + width > cells)
            break;
        used += width;
        from -= step;
        if (width > 0)
            kept = from;
    }
    return text.mid(kept).toString();
}

} // namespace

char32_t DisplayText::nextCharacter(QStringView text, qsizetype& at) {
    const QChar first = text[at++];
    if (!first.isSurrogate())
        return first.unicode();
    if (first.isHighSurrogate() && at < text.size() && text[at].isLowSurrogate())
        return QChar::surrogateToUcs4(first, text[at++]);
    return QChar::ReplacementCharacter;
}

QString DisplayText::printable(const QString& text) {
    QString result;
    result.reserve(text.size());
    for (qsizetype at = 0; at < text.size();) {
        const char32_t code = nextCharacter(text, at);
        if (isUnsafe(code))
            result += QChar(QChar::ReplacementCharacter);
        else
            result += QChar::fromUcs4(code);
    }
    return result;
}

int DisplayText::cellWidth(QStringView text) {
    int width = 0;
    for (qsizetype at = 0; at < text.size();)
        width += codePointWidth(nextCharacter(text, at));
    return width;
}

QString DisplayText::cut(QStringView text, int cells) {
    int used = 0;
    qsizetype end = 0;
    for (qsizetype at = 0; at < text.size(); end = at) {
        used += codePointWidth(nextCharacter(text, at));
        if (used > cells)
            break;
    }
    return text.left(end).toString();
}

QString DisplayText::fitted(const QString& text, int cells) {
    if (cells <= 0)
        return {};
    if (cellWidth(text) <= cells)
        return text;
    const int tail = (cells - 1) / 3;
    const QString head = cut(text, cells - 1 - tail);
    return head + u'…' + cutFromEnd(text, tail);
}

} // namespace fetra::cli
