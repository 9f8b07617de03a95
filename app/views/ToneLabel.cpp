#include "app/views/ToneLabel.h"

#include "app/views/Theme.h"

#include <QApplication>
#include <QEvent>

namespace fetra {

ToneLabel::ToneLabel(Tone tone, QWidget* parent)
    : QLabel(parent)
    , tone_(tone) {
    setTextFormat(Qt::PlainText);
    setWordWrap(true);
    takeColor();
}

void ToneLabel::setTone(Tone tone) {
    if (tone_ == tone)
        return;
    tone_ = tone;
    takeColor();
}

void ToneLabel::changeEvent(QEvent* event) {
    QLabel::changeEvent(event);
    switch (event->type()) {
    case QEvent::PaletteChange:
    case QEvent::ApplicationPaletteChange:
    case QEvent::ParentChange:
        takeColor();
        break;
    default:
        break;
    }
}

/// From the colours around it: its own text colour is what this sets.
void ToneLabel::takeColor() {
    const QPalette around = parentWidget() ? parentWidget()->palette() : QApplication::palette();
    QPalette own;
    own.setResolveMask(0);
    own.setColor(QPalette::WindowText, tone_ == Tone::failed
                                           ? Theme::statusColor(DownloadStatus::failed, around)
                                           : Theme::secondaryText(around));
    setPalette(own);
}

} // namespace fetra
