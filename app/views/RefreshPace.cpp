#include "app/views/RefreshPace.h"

#include <QEvent>
#include <QWidget>

#include <algorithm>

namespace fetra {

namespace {

constexpr qint64 millisecondsBetween = 250;

} // namespace

RefreshPace::RefreshPace(QWidget& widget, std::function<void()> refresh)
    : QObject(&widget)
    , widget_(widget)
    , refresh_(std::move(refresh)) {
    timer_.setSingleShot(true);
    timer_.callOnTimeout(this, &RefreshPace::hurry);
    widget_.installEventFilter(this);
}

void RefreshPace::request() {
    isDue_ = true;
    if (!widget_.isVisible() || timer_.isActive())
        return;
    const qint64 passed = sinceLast_.isValid() ? sinceLast_.elapsed() : millisecondsBetween;
    timer_.start(static_cast<int>(std::max<qint64>(0, millisecondsBetween - passed)));
}

void RefreshPace::hurry() {
    isDue_ = true;
    timer_.stop();
    if (!widget_.isVisible())
        return;
    isDue_ = false;
    sinceLast_.start();
    refresh_();
}

bool RefreshPace::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show && isDue_)
        hurry();
    return QObject::eventFilter(watched, event);
}

} // namespace fetra
