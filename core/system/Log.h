#pragma once

#include <QString>

namespace fetra {

enum class LogLevel { debug = 0, info = 1, warn = 2, error = 3 };

/// The engine's one diagnostic channel: a line a message on standard error, for developers and support.
/// Nothing the user is meant to read goes through it. Callable from any thread and with any lock held.
namespace Log {

/// The lowest level that is written; `info` until somebody assigns another.
[[nodiscard]] LogLevel level();
void setLevel(LogLevel threshold);

/// Writes "[TAG] message" and a line feed in one write.
void write(LogLevel level, const QString& message);

/// `message` is called for its text only when `level` passes the threshold.
template <typename Producer>
void emit(LogLevel at, Producer&& message) {
    if (at >= level())
        write(at, message());
}

template <typename Producer>
void debug(Producer&& message) {
    emit(LogLevel::debug, message);
}

template <typename Producer>
void info(Producer&& message) {
    emit(LogLevel::info, message);
}

template <typename Producer>
void warn(Producer&& message) {
    emit(LogLevel::warn, message);
}

template <typename Producer>
void error(Producer&& message) {
    emit(LogLevel::error, message);
}

} // namespace Log
} // namespace fetra
