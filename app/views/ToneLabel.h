#pragma once

#include <QLabel>

namespace fetra {

/// Text that is not in the colour of other text: an explanation, or what is wrong. Wraps, and follows the
/// palette.
class ToneLabel final : public QLabel {
    Q_OBJECT

public:
    enum class Tone { secondary, failed };

    explicit ToneLabel(Tone tone, QWidget* parent = nullptr);

    void setTone(Tone tone);

protected:
    void changeEvent(QEvent* event) override;

private:
    void takeColor();

    Tone tone_;
};

} // namespace fetra
