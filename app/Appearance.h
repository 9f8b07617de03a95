#pragma once

#include <QObject>

namespace fetra {

class DesktopColorScheme;

/// Gives the application its colours, light or dark as the user wants, where the desktop gives it none. Main
/// thread only; the application exists before it.
class Appearance final : public QObject {
    Q_OBJECT

public:
    /// `scheme` outlives this.
    explicit Appearance(const DesktopColorScheme& scheme);

private:
    void apply();

    const DesktopColorScheme& scheme_;
};

} // namespace fetra
