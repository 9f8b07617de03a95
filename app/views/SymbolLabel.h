#pragma once

#include <QString>
#include <QWidget>

namespace fetra {

/// One symbol as a picture beside text; screen readers pass it by. Follows the palette.
class SymbolLabel final : public QWidget {
    Q_OBJECT

public:
    enum class Color { accent, secondary, failed };

    /// `side` in device-independent pixels.
    SymbolLabel(const QString& name, int side, Color color, QWidget* parent = nullptr);

    void setName(const QString& name);

    [[nodiscard]] QSize sizeHint() const override { return {side_, side_}; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString name_;
    int side_;
    Color color_;
};

} // namespace fetra
