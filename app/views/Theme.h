#pragma once

#include "manager/DownloadStatus.h"

#include <QColor>
#include <QFont>
#include <QPalette>
#include <QString>

/// The few colours and measures that the views add to the user's palette. Main thread only.
namespace fetra::Theme {

/// Distances in device-independent pixels: all of them are multiples of the smallest.
inline constexpr int tight = 4;
inline constexpr int gap = 8;
inline constexpr int wide = 16;
/// Corners of cards, pills and bars.
inline constexpr qreal radius = 6;

[[nodiscard]] bool isDark(const QPalette& palette);
/// The one colour that stands out; readable on the window's background.
[[nodiscard]] QColor accent(const QPalette& palette);
/// Of text that explains other text; readable all the same.
[[nodiscard]] QColor secondaryText(const QPalette& palette);
/// Between things that lie side by side.
[[nodiscard]] QColor separator(const QPalette& palette);
/// Behind a bar that is not full, and behind cards. Lets what is below shine through, so that it can be seen
/// on a selected row too.
[[nodiscard]] QColor track(const QPalette& palette);

/// "Queued", "Connecting", "Downloading", "Paused", "Completed" or "Failed".
[[nodiscard]] QString statusText(DownloadStatus status);
/// Readable as text on the window's background, and on `statusFill`.
[[nodiscard]] QColor statusColor(DownloadStatus status, const QPalette& palette);
[[nodiscard]] QColor statusFill(DownloadStatus status, const QPalette& palette);

/// Behind a selected row; text and bars are as readable on it as on the plain background.
[[nodiscard]] QColor selection(const QPalette& palette, bool isActive);

/// Our own colours, for desktops that have none to give.
[[nodiscard]] QPalette light();
[[nodiscard]] QPalette dark();

/// `share` of `over`, and of `under` the rest; 0 to 1.
[[nodiscard]] QColor mixed(const QColor& over, const QColor& under, qreal share);

/// `factor` times as large, whether `font` is measured in points or in pixels.
[[nodiscard]] QFont scaled(const QFont& font, qreal factor);
/// One step smaller than `font`.
[[nodiscard]] QFont smaller(const QFont& font);
[[nodiscard]] QFont bold(const QFont& font);

} // namespace fetra::Theme
