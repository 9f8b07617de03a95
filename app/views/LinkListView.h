#pragma once

#include <QListView>

namespace fetra {

class LinkListModel;

/// The list of links with their check boxes: Space toggles what is selected. Says what will be there while it
/// is empty.
class LinkListView final : public QListView {
    Q_OBJECT

public:
    explicit LinkListView(LinkListModel& model, QWidget* parent = nullptr);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    LinkListModel& model_;
};

} // namespace fetra
