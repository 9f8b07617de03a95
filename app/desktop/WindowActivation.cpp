#include "app/desktop/WindowActivation.h"

#include <QGuiApplication>

namespace fetra::WindowActivation {

using namespace Qt::StringLiterals;

namespace {

/// Where Qt looks for a token, and takes it away.
constexpr const char* variable = "XDG_ACTIVATION_TOKEN";

} // namespace

void prepare() {
    // Makes the environment as large as it will ever be: a variable that is set later moves nothing that
    // other threads may be reading.
    if (qEnvironmentVariableIsSet(variable))
        return;
    qputenv(variable, "none");
    qunsetenv(variable);
}

void permit(const QString& token) {
    if (!token.isEmpty() && QGuiApplication::platformName().startsWith("wayland"_L1))
        qputenv(variable, token.toUtf8());
}

} // namespace fetra::WindowActivation
