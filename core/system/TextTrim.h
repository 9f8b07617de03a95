#pragma once

#include <QStringView>

namespace fetra::TextTrim {

/// A tab or a Unicode space separator.
[[nodiscard]] inline bool isBlank(QChar character) {
    return character == u'\t' || character.category() == QChar::Separator_Space;
}

[[nodiscard]] inline bool isSpaceOrTab(QChar character) {
    return character == u' ' || character == u'\t';
}

/// `text` without the unwanted characters at its two ends.
template <typename Predicate>
[[nodiscard]] QStringView trimmed(QStringView text, Predicate unwanted) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && unwanted(text[begin]))
        ++begin;
    while (end > begin && unwanted(text[end - 1]))
        --end;
    return text.sliced(begin, end - begin);
}

} // namespace fetra::TextTrim
