#include "app/views/StatusPill.h"

#include "app/views/ItemPainting.h"
#include "app/views/Theme.h"

#include <QPainter>

namespace fetra {

StatusPill::StatusPill(bool pill, QWidget* parent)
    : DrawnWidget(QAccessible::StaticText, parent)
    , pill_(pill) {
    setAccessibleName(tr("Status"));
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    setFont(Theme::smaller(font()));
}

void StatusPill::setStatus(DownloadStatus status) {
    if (status == status_)
        return;
    status_ = status;
    update();
    announceValue();
}

QString StatusPill::spokenValue() const {
    return Theme::statusText(status_);
}

QSize StatusPill::sizeHint() const {
    return ItemPainting::pillSize(font());
}

void StatusPill::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    ItemPainting::paintStatusPill(painter, rect(), status_, palette(), pill_);
}

} // namespace fetra
