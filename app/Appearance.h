#pragma once

#include <QColor>
#include <QObject>

namespace fetra {

class DesktopColorScheme;

/// Gives the application its colours, light or dark as the user wants, where the desktop gives it none, and
/// mends what desktops leave out. Main thread only; the application exists before it.
class Appearance final : public QObject {
    Q_OBJECT

public:
    /// `scheme` outlives this.
    explicit Appearance(const DesktopColorScheme& scheme);

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void apply();
    void mend();

    const DesktopColorScheme& scheme_;
    QColor mended_;
};

} // namespace fetra
