#include "app/Appearance.h"

#include "app/desktop/DesktopColorScheme.h"
#include "app/views/Theme.h"

#include <QApplication>
#include <QStyle>

namespace fetra {

Appearance::Appearance(const DesktopColorScheme& scheme)
    : scheme_(scheme) {
    const bool hasDesktopColors = QApplication::palette() != QApplication::style()->standardPalette();
    if (hasDesktopColors)
        return;
    connect(&scheme_, &DesktopColorScheme::changed, this, &Appearance::apply);
    apply();
}

void Appearance::apply() {
    QApplication::setPalette(scheme_.wish() == DesktopColorScheme::Wish::dark ? Theme::dark()
                                                                              : Theme::light());
}

} // namespace fetra
