#include "app/Appearance.h"

#include "app/desktop/DesktopColorScheme.h"
#include "app/views/Theme.h"

#include <QApplication>
#include <QEvent>
#include <QStyle>

#include <cmath>

namespace fetra {

Appearance::Appearance(const DesktopColorScheme& scheme)
    : scheme_(scheme) {
    const bool hasDesktopColors = QApplication::palette() != QApplication::style()->standardPalette();
    if (hasDesktopColors) {
        mend();
        qApp->installEventFilter(this);
        return;
    }
    connect(&scheme_, &DesktopColorScheme::changed, this, &Appearance::apply);
    apply();
}

void Appearance::apply() {
    QApplication::setPalette(scheme_.wish() == DesktopColorScheme::Wish::dark ? Theme::dark()
                                                                              : Theme::light());
}

/// Some leave the text of empty fields black also in the dark.
void Appearance::mend() {
    QPalette palette = QApplication::palette();
    const QColor base = palette.color(QPalette::Base);
    const QColor wanted = Theme::mixed(palette.color(QPalette::Text), base, 0.62);
    const QColor shown = palette.color(QPalette::PlaceholderText);
    const bool isReadable = std::abs(shown.lightnessF() - base.lightnessF()) > 0.3F;
    // What was mended for the dark does not suit the light.
    if (shown == wanted || (isReadable && shown != mended_))
        return;
    mended_ = wanted;
    palette.setColor(QPalette::PlaceholderText, wanted);
    QApplication::setPalette(palette);
}

bool Appearance::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp)
        mend();
    return QObject::eventFilter(watched, event);
}

} // namespace fetra
