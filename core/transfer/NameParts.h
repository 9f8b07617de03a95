#pragma once

#include <QString>

namespace fetra {

/// A file name in its two parts: "archive.tar" and "gz".
struct NameParts {
    QString base;
    /// Without the dot; empty when there is none.
    QString extension;

    /// Splits at the last dot. A dot at either end begins no extension, and none holds a space.
    [[nodiscard]] static NameParts of(const QString& name) {
        const qsizetype dot = name.lastIndexOf(u'.');
        if (dot <= 0 || dot == name.size() - 1 || QStringView(name).sliced(dot + 1).contains(u' '))
            return {.base = name, .extension = QString()};
        return {.base = name.first(dot), .extension = name.sliced(dot + 1)};
    }
};

} // namespace fetra
