#pragma once

#include <QtGlobal>

namespace fetra {

/// The number on the application's icon in the dock or task bar. Main thread only.
class Badge {
public:
    virtual ~Badge() = default;

    /// Shows `count`, or with 0 no badge at all. Cheap when nothing changes.
    virtual void show(qint64 count) = 0;
};

} // namespace fetra
