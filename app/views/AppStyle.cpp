#include "app/views/AppStyle.h"

#include "app/views/Symbol.h"
#include "app/views/Theme.h"

#include <QWidget>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr int messageSymbolSize = 40;
constexpr int messageWidth = 320;

} // namespace

void AppStyle::polish(QWidget* widget) {
    QProxyStyle::polish(widget);
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
