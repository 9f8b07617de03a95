#include "app/views/SymbolLabel.h"

#include "app/views/Symbol.h"
#include "app/views/Theme.h"

#include <QPainter>

namespace fetra {

namespace {

QColor colorFor(SymbolLabel::Color color, const QPalette& palette) {
    switch (color) {
    case SymbolLabel::Color::accent:
        return Theme::accent(palette);
    case SymbolLabel::Color::failed:
        return Theme::statusColor(DownloadStatus::failed, palette);
    case SymbolLabel::Color::secondary:
        break;
    }
    return Theme::secondaryText(palette);
}

} // namespace

SymbolLabel::SymbolLabel(const QString& name, int side, Color color, QWidget* parent)
    : QWidget(parent)
    , name_(name)
    , side_(side)
    , color_(color) {
    setFixedSize(side, side);
}

void SymbolLabel::setName(const QString& name) {
    if (name_ == name)
        return;
    name_ = name;
    update();
}

void SymbolLabel::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.drawPixmap(0, 0, Symbol::pixmap(name_, side_, colorFor(color_, palette()), devicePixelRatioF()));
}

} // namespace fetra
