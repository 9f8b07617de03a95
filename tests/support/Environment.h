#pragma once

#include <QByteArray>

#include <optional>

namespace fetra::test {

/// Sets a variable of this program's environment, or removes it with nothing, and puts back what was there.
class Environment {
public:
    Environment(const char* name, const std::optional<QByteArray>& value)
        : name_(name) {
        if (qEnvironmentVariableIsSet(name))
            before_ = qgetenv(name);
        set(value);
    }
    ~Environment() { set(before_); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    void set(const std::optional<QByteArray>& value) const {
        value ? qputenv(name_, *value) : qunsetenv(name_);
    }

    const char* name_;
    std::optional<QByteArray> before_;
};

} // namespace fetra::test
