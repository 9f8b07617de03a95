#pragma once

#include "app/desktop/Alerts.h"

namespace fetra {

/// Warnings as sheets of the window in use, or free-standing without one.
class QtAlerts final : public Alerts {
public:
    void warn(const Alert& alert, std::function<void(qsizetype button)> answered) override;
};

} // namespace fetra
