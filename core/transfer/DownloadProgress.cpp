#include "transfer/DownloadProgress.h"

#include "transfer/JsonFields.h"

#include <QHashFunctions>

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

QJsonObject SegmentSnapshot::toJson() const {
    return QJsonObject{{u"start"_s, start},
                       {u"end"_s, end},
                       {u"current"_s, current},
                       {u"active"_s, active},
                       {u"source"_s, source}};
}

std::optional<SegmentSnapshot> SegmentSnapshot::fromJson(const QJsonObject& object) {
    const auto start = JsonFields::integer(object, u"start"_s);
    const auto end = JsonFields::integer(object, u"end"_s);
    const auto current = JsonFields::integer(object, u"current"_s);
    const auto active = JsonFields::boolean(object, u"active"_s);
    const auto source = JsonFields::integer(object, u"source"_s);
    if (!start || !end || !current || !active || !source)
        return std::nullopt;
    return SegmentSnapshot{
        .start = *start, .end = *end, .current = *current, .active = *active, .source = *source};
}

size_t qHash(const SegmentSnapshot& snapshot, size_t seed) {
    return qHashMulti(seed, snapshot.start, snapshot.end, snapshot.current, snapshot.active, snapshot.source);
}

std::optional<double> DownloadProgress::fraction() const {
    if (!totalBytes || *totalBytes < 1)
        return std::nullopt;
    return std::min(static_cast<double>(receivedBytes) / static_cast<double>(*totalBytes), 1.0);
}

std::optional<double> DownloadProgress::eta() const {
    if (!totalBytes || !(bytesPerSecond > 1.0))
        return std::nullopt;
    // As doubles: a torrent helper may report any two numbers.
    return std::max(static_cast<double>(*totalBytes) - static_cast<double>(receivedBytes), 0.0) /
           bytesPerSecond;
}

} // namespace fetra
