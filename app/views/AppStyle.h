#pragma once

#include <QProxyStyle>

namespace fetra {

/// The style of the user's desktop, with our symbols and measures in message boxes.
class AppStyle final : public QProxyStyle {
    Q_OBJECT

public:
    /// `name` of the style that draws all the rest.
    using QProxyStyle::QProxyStyle;

    void polish(QWidget* widget) override;
    using QProxyStyle::polish;
    [[nodiscard]] QIcon standardIcon(StandardPixmap icon, const QStyleOption* option,
                                     const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override;
};

} // namespace fetra
