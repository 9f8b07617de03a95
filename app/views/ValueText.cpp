#include "app/views/ValueText.h"

#include <QScrollBar>
#include <QTextDocument>
#include <QTextOption>

#include <cmath>

namespace fetra {

namespace {

constexpr qsizetype mostCharacters = 4'000;

QString shortened(const QString& text) {
    if (text.size() <= mostCharacters)
        return text;
    return text.first(mostCharacters / 2) + QChar(0x2026) + text.last(mostCharacters / 2);
}

} // namespace

ValueText::ValueText(int mostLines, QWidget* parent)
    : QTextEdit(parent)
    , mostLines_(mostLines) {
    setReadOnly(true);
    setAcceptRichText(false);
    setFrameShape(QFrame::NoFrame);
    setTabChangesFocus(true);
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    setViewportMargins(0, 0, 0, 0);
    document()->setDocumentMargin(0);
    viewport()->setAutoFillBackground(false);
    connect(this, &QTextEdit::textChanged, this, &ValueText::fitHeight);
}

void ValueText::setValue(const QString& value) {
    if (value == value_)
        return;
    value_ = value;
    setPlainText(shortened(value));
}

QSize ValueText::sizeHint() const {
    return {0, height()};
}

QSize ValueText::minimumSizeHint() const {
    return {0, fontMetrics().height()};
}

void ValueText::resizeEvent(QResizeEvent* event) {
    QTextEdit::resizeEvent(event);
    fitHeight();
}

void ValueText::fitHeight() {
    const int whole = static_cast<int>(std::ceil(document()->size().height()));
    const int most = fontMetrics().lineSpacing() * mostLines_;
    setVerticalScrollBarPolicy(whole > most ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    setFixedHeight(std::min(whole, most));
}

} // namespace fetra
