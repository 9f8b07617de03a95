#include "app/model/Requests.h"

#include <QCoreApplication>

namespace fetra {

namespace {

QString translated(const char* text) {
    return QCoreApplication::translate("RemovalRequest", text);
}

} // namespace

QString RemovalRequest::title() const {
    return translated(deleteFiles ? QT_TR_NOOP("Remove downloads and delete their files?")
                                  : QT_TR_NOOP("Remove selected downloads?"));
}

QString RemovalRequest::message() const {
    const char* text = deleteFiles ? QT_TR_NOOP("%1 downloads will be removed. Their downloaded files and "
                                                "partial data will be permanently deleted.")
                                   : QT_TR_NOOP("%1 downloads will be removed from the list. Downloaded "
                                                "files will be kept.");
    return translated(text).arg(ids.size());
}

QString RemovalRequest::button() const {
    return translated(deleteFiles ? QT_TR_NOOP("Remove and Delete Files") : QT_TR_NOOP("Remove"));
}

} // namespace fetra
