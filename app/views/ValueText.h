#pragma once

#include <QTextEdit>

namespace fetra {

/// A text of any length that can be selected and copied. Breaks wherever it must, so that it is never wider
/// than its place, and scrolls beyond some lines.
class ValueText final : public QTextEdit {
    Q_OBJECT

public:
    explicit ValueText(int mostLines, QWidget* parent = nullptr);

    /// What is longer than anybody reads is shortened in its middle.
    void setValue(const QString& value);

    [[nodiscard]] QSize sizeHint() const override;
    [[nodiscard]] QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void fitHeight();

    const int mostLines_;
    QString value_;
};

} // namespace fetra
