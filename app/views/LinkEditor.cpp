#include "app/views/LinkEditor.h"

#include "app/model/LinkGrabber.h"
#include "app/views/DropEvents.h"
#include "app/views/Theme.h"

#include <QDragEnterEvent>
#include <QMimeData>
#include <QPainter>
#include <QScrollBar>

namespace fetra {

namespace {

constexpr int pauseMilliseconds = 150;
constexpr qreal borderWidth = 2;

} // namespace

LinkEditor::LinkEditor(LinkGrabber& grabber, QWidget* parent)
    : QPlainTextEdit(grabber.text(), parent)
    , grabber_(grabber)
    , agreed_(grabber.text()) {
    setTabChangesFocus(true);
    setAccessibleName(tr("Links to download"));
    // Pasting once more replaces what the clipboard has already given.
    selectAll();
    pause_.setSingleShot(true);
    pause_.setInterval(pauseMilliseconds);
    connect(&pause_, &QTimer::timeout, this, &LinkEditor::commit);
    connect(document(), &QTextDocument::contentsChanged, &pause_, qOverload<>(&QTimer::start));
    connect(&grabber_, &LinkGrabber::changed, this, [this](LinkGrabber::Field field) {
        if (field == LinkGrabber::Field::text)
            takeText();
    });
}

void LinkEditor::commit() {
    pause_.stop();
    agreed_ = toPlainText();
    grabber_.setText(agreed_);
}

/// Drops add to the text. Nothing that the user has typed meanwhile, nor what can be undone, is lost to that.
void LinkEditor::takeText() {
    if (grabber_.text() == agreed_)
        return;
    if (!grabber_.text().startsWith(agreed_)) {
        setPlainText(grabber_.text());
    } else {
        QTextCursor end(document());
        end.movePosition(QTextCursor::End);
        end.insertText(grabber_.text().sliced(agreed_.size()));
    }
    agreed_ = grabber_.text();
    verticalScrollBar()->setValue(verticalScrollBar()->maximum());
}

void LinkEditor::insertFromMimeData(const QMimeData* source) {
    QPlainTextEdit::insertFromMimeData(source);
    commit();
}

/// Text that the user moves from one place of the editor to another.
bool LinkEditor::isOwn(const QDropEvent& event) const {
    return event.source() && (event.source() == this || event.source() == viewport());
}

void LinkEditor::dragEnterEvent(QDragEnterEvent* event) {
    if (isOwn(*event))
        return QPlainTextEdit::dragEnterEvent(event);
    const bool isUsable = event->mimeData() && !LinkDrop::itemsIn(*event->mimeData()).isEmpty();
    if (!isUsable)
        event->ignore();
    setTargeted(isUsable && acceptWithoutMoving(*event));
}

void LinkEditor::dragMoveEvent(QDragMoveEvent* event) {
    if (isTargeted_)
        acceptWithoutMoving(*event);
    else
        QPlainTextEdit::dragMoveEvent(event);
}

void LinkEditor::dragLeaveEvent(QDragLeaveEvent* event) {
    setTargeted(false);
    QPlainTextEdit::dragLeaveEvent(event);
}

void LinkEditor::dropEvent(QDropEvent* event) {
    if (isOwn(*event))
        return QPlainTextEdit::dropEvent(event);
    setTargeted(false);
    commit();
    if (!acceptWithoutMoving(*event) || !event->mimeData() ||
        !grabber_.drop(LinkDrop::itemsIn(*event->mimeData())))
        event->ignore();
}

void LinkEditor::setTargeted(bool targeted) {
    if (isTargeted_ == targeted)
        return;
    isTargeted_ = targeted;
    viewport()->update();
}

void LinkEditor::paintEvent(QPaintEvent* event) {
    QPlainTextEdit::paintEvent(event);
    if (!isTargeted_)
        return;
    QPainter painter(viewport());
    painter.setRenderHint(QPainter::Antialiasing);
    QColor fill = Theme::accent(palette());
    painter.setPen(QPen(fill, borderWidth));
    fill.setAlphaF(0.08F);
    painter.setBrush(fill);
    const qreal inset = borderWidth / 2;
    painter.drawRoundedRect(QRectF(viewport()->rect()).adjusted(inset, inset, -inset, -inset), Theme::radius,
                            Theme::radius);
}

} // namespace fetra
