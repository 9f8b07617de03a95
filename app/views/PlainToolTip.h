#pragma once

#include <QString>
#include <QTextDocument>

namespace fetra {

/// `text` so that a tool tip shows it as it is: names and sentences of servers are no markup.
[[nodiscard]] inline QString plainToolTip(const QString& text) {
    return Qt::mightBeRichText(text) ? QStringLiteral("<span>%1</span>").arg(text.toHtmlEscaped()) : text;
}

} // namespace fetra
