#pragma once

#include <QPlainTextEdit>
#include <QTimer>

namespace fetra {

class LinkGrabber;

/// Where links are pasted, typed and dropped. What is typed reaches the grabber shortly after, what is pasted
/// at once.
class LinkEditor final : public QPlainTextEdit {
    Q_OBJECT

public:
    /// `grabber` outlives this.
    explicit LinkEditor(LinkGrabber& grabber, QWidget* parent = nullptr);

    /// Hands over what has been typed so far.
    void commit();

protected:
    void insertFromMimeData(const QMimeData* source) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    [[nodiscard]] bool isOwn(const QDropEvent& event) const;
    void setTargeted(bool targeted);
    void takeText();

    LinkGrabber& grabber_;
    /// What the grabber and this have agreed on last.
    QString agreed_;
    QTimer pause_;
    /// Something that can be dropped here hovers.
    bool isTargeted_ = false;
};

} // namespace fetra
