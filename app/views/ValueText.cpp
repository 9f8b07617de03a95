#include "app/views/ValueText.h"

#include "app/views/Theme.h"

#include <QFocusEvent>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
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
    // Not by the wheel, which only passes.
    setFocusPolicy(Qt::StrongFocus);
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
    // Lines that wrap are told from those that follow them.
    QTextBlockFormat apart;
    apart.setTopMargin(Theme::tight);
    for (QTextBlock block = document()->begin().next(); block.isValid(); block = block.next())
        QTextCursor(block).mergeBlockFormat(apart);
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

/// As in an edit line: keys that come by select the whole, which also shows where they are.
void ValueText::focusInEvent(QFocusEvent* event) {
    QTextEdit::focusInEvent(event);
    if (event->reason() != Qt::TabFocusReason && event->reason() != Qt::BacktabFocusReason)
        return;
    QTextCursor whole(document());
    whole.movePosition(QTextCursor::End);
    whole.movePosition(QTextCursor::Start, QTextCursor::KeepAnchor);
    setTextCursor(whole);
}

void ValueText::focusOutEvent(QFocusEvent* event) {
    QTextEdit::focusOutEvent(event);
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
        setTextCursor(QTextCursor(document()));
}

void ValueText::fitHeight() {
    const int whole = static_cast<int>(std::ceil(document()->size().height()));
    const int most = fontMetrics().lineSpacing() * mostLines_;
    setVerticalScrollBarPolicy(whole > most ? Qt::ScrollBarAsNeeded : Qt::ScrollBarAlwaysOff);
    setFixedHeight(std::min(whole, most));
}

} // namespace fetra
