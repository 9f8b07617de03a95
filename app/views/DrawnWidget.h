#pragma once

#include <QAccessible>
#include <QWidget>

namespace fetra {

/// A widget that paints itself and tells screen readers in words what it shows.
class DrawnWidget : public QWidget {
    Q_OBJECT

public:
    [[nodiscard]] QAccessible::Role spokenRole() const { return role_; }
    [[nodiscard]] virtual QString spokenValue() const = 0;

protected:
    DrawnWidget(QAccessible::Role role, QWidget* parent);

    /// Tells screen readers of another value, where there are any.
    void announceValue();

private:
    const QAccessible::Role role_;
};

} // namespace fetra
