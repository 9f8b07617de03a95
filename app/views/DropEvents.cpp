#include "app/views/DropEvents.h"

#include <QDropEvent>

namespace fetra {

bool acceptWithoutMoving(QDropEvent& event) {
    for (const Qt::DropAction action : {Qt::CopyAction, Qt::LinkAction}) {
        if (!(event.possibleActions() & action))
            continue;
        event.setDropAction(action);
        event.accept();
        return true;
    }
    event.ignore();
    return false;
}

} // namespace fetra
