#include "app/views/MenuBarExtra.h"

#include "app/desktop/Tray.h"
#include "app/model/AppModel.h"
#include "app/views/MenuBarContent.h"
#include "app/views/Theme.h"
#include "transfer/ByteFormat.h"

#include <QGuiApplication>
#include <QScreen>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

MenuBarExtra::MenuBarExtra(AppModel& model, DownloadCommands& commands, Tray& tray,
                           std::function<void()> quit)
    : model_(model)
    , tray_(tray)
    , panel_(std::make_unique<MenuBarContent>(model, commands, std::move(quit))) {
    connect(&model_.settings(), &AppSettings::changed, this, &MenuBarExtra::follow);
    connect(&model_.history(), &ThroughputHistory::changed, this, &MenuBarExtra::showRate);
    follow();
}

MenuBarExtra::~MenuBarExtra() = default;

void MenuBarExtra::renew() {
    // A tray that comes anew knows nothing of icons that were shown before.
    icon_.reset();
    follow();
}

void MenuBarExtra::follow() {
    const bool isWanted = model_.settings().isOn(AppSettings::showMenuBar) && tray_.isAvailable();
    if (!isWanted) {
        icon_.reset();
        panel_->hide();
    } else if (!icon_) {
        const QIcon icon = QGuiApplication::windowIcon();
        icon_ = std::make_unique<QSystemTrayIcon>(
            tray_.colorsSymbols() ? QIcon::fromTheme(u"fetra-symbolic"_s, icon) : icon, this);
        connect(icon_.get(), &QSystemTrayIcon::activated, this, &MenuBarExtra::togglePanel);
        showRate();
        icon_->show();
    }
}

void MenuBarExtra::showRate() {
    if (!icon_)
        return;
    icon_->setToolTip(model_.manager().activeCount() < 1
                          ? u"Fetra"_s
                          : tr("Fetra, %1").arg(ByteFormat::rate(model_.manager().totalBytesPerSecond())));
}

void MenuBarExtra::togglePanel(QSystemTrayIcon::ActivationReason reason) {
    if (reason != QSystemTrayIcon::Trigger && reason != QSystemTrayIcon::Context)
        return;
    if (panel_->isVisible()) {
        panel_->hide();
        return;
    }
    // The click that is meant to close the panel has closed it already where it takes the focus away.
    if (panel_->wasLeftJustNow())
        return;
    panel_->adjustSize();
    const QRect icon = icon_->geometry();
    const QPoint near = icon.isValid() ? icon.center() : QCursor::pos();
    const int distance = (icon.isValid() ? icon.height() / 2 : 0) + Theme::tight;
    const QScreen* screen = QGuiApplication::screenAt(near);
    const QRect room = (screen ? screen : QGuiApplication::primaryScreen())->availableGeometry();
    const QSize size = panel_->size();
    panel_->move(
        std::clamp(near.x() - size.width() / 2, room.left(),
                   std::max(room.left(), room.right() - size.width())),
        std::clamp(near.y() < room.center().y() ? near.y() + distance : near.y() - distance - size.height(),
                   room.top(), std::max(room.top(), room.bottom() - size.height())));
    panel_->show();
    panel_->activateWindow();
}

} // namespace fetra
