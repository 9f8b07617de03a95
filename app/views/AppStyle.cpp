#include "app/views/AppStyle.h"

#include "app/views/Symbol.h"
#include "app/views/Theme.h"

#include <QPainter>
#include <QPushButton>
#include <QStyleOption>
#include <QWidget>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int messageSymbolSize = 40;
constexpr int messageWidth = 320;

/// A box with a tick, with a line while it is neither, or empty.
void drawCheckBox(QPainter& painter, const QStyleOption& option) {
    const bool isEnabled = option.state & QStyle::State_Enabled;
    const bool isEmpty = !(option.state & (QStyle::State_On | QStyle::State_NoChange));
    const QPalette& palette = option.palette;
    const QColor text = palette.color(isEnabled ? QPalette::Active : QPalette::Disabled, QPalette::Text);
    const QColor base = palette.color(QPalette::Base);
    const QColor fill =
        isEnabled ? palette.color(QPalette::Active, QPalette::Highlight) : Theme::mixed(text, base, 0.5);
    const QRectF box = QRectF(option.rect).adjusted(0.5, 0.5, -0.5, -0.5);
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(isEmpty ? base : fill);
    const bool isReached = option.state & (QStyle::State_HasFocus | QStyle::State_MouseOver);
    painter.setPen(!isEmpty ? fill : isReached ? Theme::accent(palette) : Theme::mixed(text, base, 0.55));
    painter.drawRoundedRect(box, Theme::radius / 2, Theme::radius / 2);
    if (!isEmpty) {
        const auto at = [&](qreal x, qreal y) {
            return QPointF(box.left() + x * box.width(), box.top() + y * box.height());
        };
        painter.setPen(QPen(palette.color(QPalette::HighlightedText), box.width() / 8, Qt::SolidLine,
                            Qt::RoundCap, Qt::RoundJoin));
        const bool isOn = option.state & QStyle::State_On;
        painter.drawPolyline(isOn ? QPolygonF{at(0.24, 0.53), at(0.43, 0.72), at(0.77, 0.3)}
                                  : QPolygonF{at(0.26, 0.5), at(0.74, 0.5)});
    }
    painter.restore();
}

} // namespace

AppStyle::AppStyle(const QString& name)
    : QProxyStyle(name)
    , isOverFusion_(name.compare("fusion"_L1, Qt::CaseInsensitive) == 0) {}

void AppStyle::drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                             const QWidget* widget) const {
    const bool isCheckBox = element == PE_IndicatorCheckBox || element == PE_IndicatorItemViewItemCheck;
    if (isOverFusion_ && isCheckBox) {
        drawCheckBox(*painter, *option);
        return;
    }
    QProxyStyle::drawPrimitive(element, option, painter, widget);
    if (isOverFusion_ && element == PE_FrameMenu) {
        painter->setPen(Theme::mixed(option->palette.color(QPalette::WindowText),
                                     option->palette.color(QPalette::Window), 0.3));
        painter->drawRect(option->rect.adjusted(0, 0, -1, -1));
    }
}

void AppStyle::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
    if (auto* const button = qobject_cast<QPushButton*>(widget))
        button->setAutoDefault(true);
    // What `QMessageBox` calls its text and the explanation below.
    if (widget->objectName() == "qt_msgbox_label"_L1)
        widget->setFont(Theme::bold(widget->font()));
    else if (widget->objectName() == "qt_msgbox_informativelabel"_L1)
        widget->setMinimumWidth(messageWidth);
}

QIcon AppStyle::standardIcon(StandardPixmap icon, const QStyleOption* option, const QWidget* widget) const {
    if (icon != SP_MessageBoxWarning || !widget)
        return QProxyStyle::standardIcon(icon, option, widget);
    return Symbol::pixmap(u"exclamationmark.circle"_s, messageSymbolSize,
                          Theme::statusColor(DownloadStatus::paused, widget->palette()),
                          widget->devicePixelRatioF());
}

int AppStyle::pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const {
    return metric == PM_MessageBoxIconSize ? messageSymbolSize
                                           : QProxyStyle::pixelMetric(metric, option, widget);
}

int AppStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                        QStyleHintReturn* data) const {
    return hint == SH_DialogButtonBox_ButtonsHaveIcons ? 0
                                                       : QProxyStyle::styleHint(hint, option, widget, data);
}

} // namespace fetra
