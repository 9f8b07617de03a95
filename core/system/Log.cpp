#include "system/Log.h"

#include <atomic>
#include <cerrno>

#include <unistd.h>

namespace fetra::Log {

namespace {

std::atomic<LogLevel> threshold{LogLevel::info};

const char* prefix(LogLevel level) {
    switch (level) {
    case LogLevel::debug:
        return "[DBG] ";
    case LogLevel::info:
        return "[INF] ";
    case LogLevel::warn:
        return "[WRN] ";
    case LogLevel::error:
        break;
    }
    return "[ERR] ";
}

} // namespace

LogLevel level() {
    return threshold.load(std::memory_order_relaxed);
}

void setLevel(LogLevel level) {
    threshold.store(level, std::memory_order_relaxed);
}

void write(LogLevel level, const QString& message) {
    const QByteArray line = prefix(level) + message.toUtf8() + '\n';
    // What a full or closed standard error does not take is lost: a diagnostic must not hold up a transfer.
    while (::write(STDERR_FILENO, line.constData(), static_cast<size_t>(line.size())) < 0 && errno == EINTR) {
    }
}

} // namespace fetra::Log
