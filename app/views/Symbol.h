#pragma once

#include <QColor>
#include <QIcon>
#include <QPixmap>
#include <QString>

/// Our drawn symbols by their names, for example "arrow.down.circle". Main thread only.
namespace fetra::Symbol {

/// Takes the colours of the palette as it is when it is drawn, so that it fits light and dark schemes.
[[nodiscard]] QIcon icon(const QString& name);

/// `size` in device-independent pixels.
[[nodiscard]] QPixmap pixmap(const QString& name, int size, const QColor& color, qreal devicePixelRatio);

} // namespace fetra::Symbol
