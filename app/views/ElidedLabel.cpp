#include "app/views/ElidedLabel.h"

#include "app/views/PlainToolTip.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QToolTip>

namespace fetra {

namespace {

constexpr int fewestCharacters = 8;

} // namespace

ElidedLabel::ElidedLabel(QWidget* parent)
    : ElidedLabel(Qt::ElideMiddle, parent) {}

ElidedLabel::ElidedLabel(Qt::TextElideMode mode, QWidget* parent)
    : QLabel(parent)
    , mode_(mode) {
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

QSize ElidedLabel::minimumSizeHint() const {
    return {fontMetrics().averageCharWidth() * fewestCharacters, QLabel::minimumSizeHint().height()};
}

void ElidedLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QString shown = fontMetrics().elidedText(text(), mode_, contentsRect().width());
    style()->drawItemText(&painter, contentsRect(),
                          static_cast<int>(QStyle::visualAlignment(layoutDirection(), alignment())),
                          palette(), isEnabled(), shown, foregroundRole());
}

bool ElidedLabel::event(QEvent* event) {
    if (event->type() != QEvent::ToolTip)
        return QLabel::event(event);
    if (fontMetrics().horizontalAdvance(text()) > contentsRect().width())
        QToolTip::showText(static_cast<QHelpEvent*>(event)->globalPos(), plainToolTip(text()), this);
    else
        QToolTip::hideText();
    return true;
}

} // namespace fetra
