#include "app/views/DrawnWidget.h"

#include <QAccessibleWidget>

namespace fetra {

namespace {

class Spoken final : public QAccessibleWidget {
public:
    explicit Spoken(DrawnWidget& widget)
        : QAccessibleWidget(&widget, widget.spokenRole())
        , widget_(widget) {}

    [[nodiscard]] QString text(QAccessible::Text kind) const override {
        if (kind == QAccessible::Value)
            return widget_.spokenValue();
        const QString text = QAccessibleWidget::text(kind);
        // Not every screen reader asks a picture for its value.
        return kind == QAccessible::Description && text.isEmpty() ? widget_.spokenValue() : text;
    }

private:
    const DrawnWidget& widget_;
};

QAccessibleInterface* makeSpoken(const QString&, QObject* object) {
    auto* const widget = qobject_cast<DrawnWidget*>(object);
    return widget ? new Spoken(*widget) : nullptr;
}

} // namespace

DrawnWidget::DrawnWidget(QAccessible::Role role, QWidget* parent)
    : QWidget(parent)
    , role_(role) {
    [[maybe_unused]] static const bool isInstalled = [] {
        QAccessible::installFactory(makeSpoken);
        return true;
    }();
}

void DrawnWidget::announceValue() {
    if (!QAccessible::isActive())
        return;
    QAccessibleValueChangeEvent event(this, spokenValue());
    QAccessible::updateAccessibility(&event);
}

} // namespace fetra
