#include "system/MainThread.h"

#include <QCoreApplication>
#include <QThread>

namespace fetra::MainThread {

bool isCurrent() {
    return QCoreApplication::instance() && QThread::currentThread() == QCoreApplication::instance()->thread();
}

} // namespace fetra::MainThread
