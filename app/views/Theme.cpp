#include "app/views/Theme.h"

#include <QCoreApplication>

#include <algorithm>
#include <array>

namespace fetra::Theme {

namespace {

struct StatusLook {
    const char* text;
    /// At least 4.5 to 1 against the usual window background of the scheme.
    QRgb light;
    QRgb dark;
};

const StatusLook& lookOf(DownloadStatus status) {
    static constexpr std::array<StatusLook, 6> looks{{
        {QT_TRANSLATE_NOOP("DownloadStatus", "Queued"), 0xff5c5f66, 0xffb4b8c0},
        {QT_TRANSLATE_NOOP("DownloadStatus", "Connecting"), 0xff6b3fa0, 0xffc9a6f5},
        {QT_TRANSLATE_NOOP("DownloadStatus", "Downloading"), 0xff0b5cad, 0xff7ab8ff},
        {QT_TRANSLATE_NOOP("DownloadStatus", "Paused"), 0xff8a4b00, 0xfff0b45a},
        {QT_TRANSLATE_NOOP("DownloadStatus", "Completed"), 0xff1b6e37, 0xff7bd694},
        {QT_TRANSLATE_NOOP("DownloadStatus", "Failed"), 0xffb3261e, 0xffff9c94},
    }};
    return looks.at(static_cast<size_t>(status));
}

QColor text(const QPalette& palette) {
    return palette.color(QPalette::WindowText);
}

QColor background(const QPalette& palette) {
    return palette.color(QPalette::Window);
}

struct Colors {
    QRgb window;
    QRgb base;
    QRgb button;
    QRgb text;
    QRgb highlight;
    QRgb link;
};

QPalette paletteOf(const Colors& colors) {
    // This makes the shades of edges and shadows.
    QPalette palette(QColor(colors.button), QColor(colors.window));
    const QColor strong(colors.text);
    const QColor base(colors.base);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText,
                                           QPalette::ToolTipText, QPalette::BrightText}) {
        palette.setColor(role, strong);
        palette.setColor(QPalette::Disabled, role, mixed(strong, base, 0.42));
    }
    palette.setColor(QPalette::PlaceholderText, mixed(strong, base, 0.62));
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, mixed(strong, base, 0.03));
    palette.setColor(QPalette::ToolTipBase, QColor(colors.button));
    palette.setColor(QPalette::Highlight, QColor(colors.highlight));
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Disabled, QPalette::Highlight, mixed(strong, base, 0.3));
    palette.setColor(QPalette::Link, QColor(colors.link));
    palette.setColor(QPalette::LinkVisited, QColor(colors.link));
    return palette;
}

} // namespace

bool isDark(const QPalette& palette) {
    return background(palette).lightnessF() < 0.5F;
}

QColor accent(const QPalette& palette) {
    return statusColor(DownloadStatus::downloading, palette);
}

QColor secondaryText(const QPalette& palette) {
    return mixed(text(palette), background(palette), 0.72);
}

QColor separator(const QPalette& palette) {
    return mixed(text(palette), background(palette), 0.14);
}

QColor track(const QPalette& palette) {
    QColor color = text(palette);
    color.setAlphaF(0.14F);
    return color;
}

QString statusText(DownloadStatus status) {
    return QCoreApplication::translate("DownloadStatus", lookOf(status).text);
}

QColor statusColor(DownloadStatus status, const QPalette& palette) {
    const StatusLook& look = lookOf(status);
    return isDark(palette) ? look.dark : look.light;
}

QColor statusFill(DownloadStatus status, const QPalette& palette) {
    return mixed(statusColor(status, palette), background(palette), 0.13);
}

QColor selection(const QPalette& palette, bool isActive) {
    const QColor base = palette.color(QPalette::Base);
    return isActive ? mixed(accent(palette), base, 0.16) : mixed(palette.color(QPalette::Text), base, 0.1);
}

QPalette light() {
    return paletteOf({.window = 0xfff4f5f7,
                      .base = 0xffffffff,
                      .button = 0xfffbfcfd,
                      .text = 0xff1c1e21,
                      .highlight = 0xff0b5cad,
                      .link = 0xff0b5cad});
}

QPalette dark() {
    return paletteOf({.window = 0xff24262a,
                      .base = 0xff1b1d20,
                      .button = 0xff35383d,
                      .text = 0xffe8eaed,
                      .highlight = 0xff2c6fba,
                      .link = 0xff7ab8ff});
}

QColor mixed(const QColor& over, const QColor& under, qreal share) {
    const auto mix = [share](float a, float b) { return static_cast<float>(a * share + b * (1 - share)); };
    return QColor::fromRgbF(mix(over.redF(), under.redF()), mix(over.greenF(), under.greenF()),
                            mix(over.blueF(), under.blueF()));
}

QFont scaled(const QFont& font, qreal factor) {
    QFont other = font;
    if (font.pixelSize() > 0)
        other.setPixelSize(std::max(qRound(font.pixelSize() * factor), 1));
    else
        other.setPointSizeF(font.pointSizeF() * factor);
    return other;
}

QFont smaller(const QFont& font) {
    return scaled(font, 0.9);
}

QFont bold(const QFont& font) {
    QFont heavy = font;
    heavy.setWeight(QFont::DemiBold);
    return heavy;
}

} // namespace fetra::Theme
