#pragma once

#include <QProxyStyle>

namespace fetra {

/// The style of the user's desktop, with our symbols and measures in message boxes. Where that is Qt's own
/// plain style, edges that it loses in dark colours are drawn so that they can be seen. Return presses a
/// button that has the focus in every window.
class AppStyle final : public QProxyStyle {
    Q_OBJECT

public:
    /// `name` of the style that draws all the rest.
    explicit AppStyle(const QString& name);

    void polish(QWidget* widget) override;
    using QProxyStyle::polish;
    void drawPrimitive(PrimitiveElement element, const QStyleOption* option, QPainter* painter,
                       const QWidget* widget) const override;
    [[nodiscard]] QIcon standardIcon(StandardPixmap icon, const QStyleOption* option,
                                     const QWidget* widget) const override;
    int pixelMetric(PixelMetric metric, const QStyleOption* option, const QWidget* widget) const override;
    int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                  QStyleHintReturn* data) const override;

private:
    const bool isOverFusion_;
};

} // namespace fetra
