#include "system/MainQueue.h"

#include <QCoreApplication>
#include <QThread>

#include <utility>

namespace fetra::MainQueue {

bool isCurrent() {
    return QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread();
}

void post(std::function<void()> work) {
    QMetaObject::invokeMethod(QCoreApplication::instance(), std::move(work), Qt::QueuedConnection);
}

} // namespace fetra::MainQueue
