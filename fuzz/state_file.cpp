#include "Check.h"
#include "manager/DownloadItem.h"
#include "manager/ManagerState.h"

#include <QJsonArray>
#include <QJsonDocument>

using namespace fetra;
using fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray json(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const auto state = ManagerState::fromJson(QJsonDocument::fromJson(json).object());
    if (!state)
        return 0;
    for (const DownloadRecord& record : state->items) {
        const DownloadItem item(record);
        const auto again = DownloadRecord::fromJson(QJsonDocument::fromJson(item.encodedRecord()).object());
        check(again.has_value(), "what was loaded can be saved and loaded again");
        check(again->id == record.id && again->status == record.status, "as the same download");
        check(DownloadItem(*again).encodedRecord() == item.encodedRecord(), "with nothing lost");
        check(item.fraction() >= 0 && item.fraction() <= 1, "the fraction is one");
    }
    const QJsonObject settings = ManagerState::toJson(state->settings);
    QJsonObject object = settings;
    object.insert(QStringLiteral("items"), QJsonArray());
    const auto again = ManagerState::fromJson(object);
    check(again && ManagerState::toJson(again->settings) == settings, "settings survive being written");
    return 0;
}
