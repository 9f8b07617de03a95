#include "app/views/RefreshPace.h"

#include <QEvent>
#include <QWidget>

#include <chrono>

using namespace std::chrono_literals;

namespace fetra {

RefreshPace::RefreshPace(QWidget& widget, std::function<void()> refresh)
    : QObject(&widget)
    , widget_(widget)
    , refresh_(std::move(refresh))
    , throttle_(250ms, [this] { this->refresh(); }) {
    widget_.installEventFilter(this);
}

void RefreshPace::request() {
    isDue_ = true;
    if (widget_.isVisible())
        throttle_.request();
}

void RefreshPace::hurry() {
    request();
    throttle_.flush();
}

void RefreshPace::refresh() {
    if (!widget_.isVisible())
        return;
    isDue_ = false;
    refresh_();
}

bool RefreshPace::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Show && isDue_)
        hurry();
    return QObject::eventFilter(watched, event);
}

} // namespace fetra
