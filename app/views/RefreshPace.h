#pragma once

#include "app/views/Throttle.h"

#include <QObject>

#include <functional>

class QWidget;

namespace fetra {

/// Brings a widget up to date when it is asked to, however often: at most four times a second, and only while
/// the widget is visible. What was asked for meanwhile is done just before the widget is shown. The widget
/// owns it.
class RefreshPace final : public QObject {
public:
    RefreshPace(QWidget& widget, std::function<void()> refresh);

    /// Soon.
    void request();
    /// At once, where the user would notice a delay.
    void hurry();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();

    QWidget& widget_;
    const std::function<void()> refresh_;
    Throttle throttle_;
    bool isDue_ = false;
};

} // namespace fetra
