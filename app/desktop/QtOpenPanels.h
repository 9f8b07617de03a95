#pragma once

#include "app/desktop/OpenPanels.h"

namespace fetra {

/// The platform's own panels where it has some.
class QtOpenPanels final : public OpenPanels {
public:
    void show(const OpenPanel& panel, std::function<void(const QList<QUrl>&)> chosen) override;
};

} // namespace fetra
