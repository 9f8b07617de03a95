#include "torrent/TorrentOptions.h"

#include "transfer/JsonFields.h"

namespace fetra {

using namespace Qt::StringLiterals;

QJsonObject TorrentOptions::toJson() const {
    return {{u"uploadLimitKB"_s, uploadLimitKB},
            {u"downloadLimitKB"_s, downloadLimitKB},
            {u"seedAfterComplete"_s, seedAfterComplete}};
}

std::optional<TorrentOptions> TorrentOptions::fromJson(const QJsonObject& object) {
    const auto upload = JsonFields::integer(object, u"uploadLimitKB"_s);
    const auto download = JsonFields::integer(object, u"downloadLimitKB"_s);
    const auto seed = JsonFields::boolean(object, u"seedAfterComplete"_s);
    if (!upload || !download || !seed)
        return std::nullopt;
    return TorrentOptions{.uploadLimitKB = *upload, .downloadLimitKB = *download, .seedAfterComplete = *seed};
}

} // namespace fetra
