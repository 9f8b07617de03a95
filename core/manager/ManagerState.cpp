#include "manager/ManagerState.h"

#include "system/AbsoluteURL.h"
#include "transfer/JsonFields.h"

#include <QJsonArray>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

std::optional<QList<DownloadRecord>> readRecords(const QJsonObject& object, const QString& key) {
    if (!object.value(key).isArray())
        return std::nullopt;
    const QJsonArray array = object.value(key).toArray();
    QList<DownloadRecord> list;
    list.reserve(array.size());
    for (const QJsonValue& value : array) {
        std::optional<DownloadRecord> record = DownloadRecord::fromJson(value.toObject());
        if (!record)
            return std::nullopt;
        list.append(*std::move(record));
    }
    return list;
}

} // namespace

QJsonObject ManagerState::toJson(const TransferSettings& settings) {
    return {
        {u"maxConcurrentDownloads"_s, settings.maxConcurrentDownloads},
        {u"connectionsPerDownload"_s, settings.connectionsPerDownload},
        {u"defaultDirectory"_s, absoluteString(settings.defaultDirectory)},
        {u"autoStart"_s, settings.autoStart},
        {u"torrentUploadLimitKB"_s, settings.torrentUploadLimitKB},
        {u"torrentSeedAfterComplete"_s, settings.torrentSeedAfterComplete},
    };
}

std::optional<ManagerState> ManagerState::fromJson(const QJsonObject& object) {
    const auto maxConcurrent = JsonFields::integer(object, u"maxConcurrentDownloads"_s);
    const auto connections = JsonFields::integer(object, u"connectionsPerDownload"_s);
    const auto directory = JsonFields::url(object, u"defaultDirectory"_s);
    const auto autoStart = JsonFields::boolean(object, u"autoStart"_s);
    const auto limit = JsonFields::optional<qint64>(&JsonFields::integer, object, u"torrentUploadLimitKB"_s);
    const auto seed = JsonFields::optional<bool>(&JsonFields::boolean, object, u"torrentSeedAfterComplete"_s);
    if (!maxConcurrent || !connections || !directory || !autoStart || !limit.valid || !seed.valid)
        return std::nullopt;
    std::optional<QList<DownloadRecord>> items = readRecords(object, u"items"_s);
    if (!items)
        return std::nullopt;
    const TransferSettings defaults;
    return ManagerState{
        .items = *std::move(items),
        .settings =
            {
                .maxConcurrentDownloads = *maxConcurrent,
                .connectionsPerDownload = *connections,
                .defaultDirectory = *directory,
                .autoStart = *autoStart,
                .torrentUploadLimitKB = limit.value.value_or(defaults.torrentUploadLimitKB),
                .torrentSeedAfterComplete = seed.value.value_or(defaults.torrentSeedAfterComplete),
            },
    };
}

} // namespace fetra
