#include "app/model/Requests.h"

namespace fetra {

QString RemovalRequest::title() const {
    return deleteFiles ? tr("Remove downloads and delete their files?") : tr("Remove selected downloads?");
}

QString RemovalRequest::message() const {
    const QString text = deleteFiles
                             ? tr("%1 downloads will be removed. Their downloaded files and partial data "
                                  "will be permanently deleted.")
                             : tr("%1 downloads will be removed from the list. Downloaded files will be "
                                  "kept.");
    return text.arg(ids.size());
}

QString RemovalRequest::button() const {
    return deleteFiles ? tr("Remove and Delete Files") : tr("Remove");
}

} // namespace fetra
