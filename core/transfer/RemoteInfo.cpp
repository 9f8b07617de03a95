#include "transfer/RemoteInfo.h"

#include "system/AbsoluteURL.h"
#include "transfer/JsonFields.h"

namespace fetra {

using namespace Qt::StringLiterals;

QJsonObject RemoteInfo::toJson() const {
    QJsonObject object{{u"originalURL"_s, absoluteString(originalURL)},
                       {u"finalURL"_s, absoluteString(finalURL)},
                       {u"acceptsRanges"_s, acceptsRanges},
                       {u"suggestedFilename"_s, suggestedFilename}};
    if (totalSize)
        object.insert(u"totalSize"_s, *totalSize);
    if (etag)
        object.insert(u"etag"_s, *etag);
    if (lastModified)
        object.insert(u"lastModified"_s, *lastModified);
    if (contentType)
        object.insert(u"contentType"_s, *contentType);
    return object;
}

std::optional<RemoteInfo> RemoteInfo::fromJson(const QJsonObject& object) {
    const auto originalURL = JsonFields::url(object, u"originalURL"_s);
    const auto finalURL = JsonFields::url(object, u"finalURL"_s);
    const auto totalSize = JsonFields::optional(JsonFields::integer, object, u"totalSize"_s);
    const auto acceptsRanges = JsonFields::boolean(object, u"acceptsRanges"_s);
    const auto etag = JsonFields::optional(JsonFields::string, object, u"etag"_s);
    const auto lastModified = JsonFields::optional(JsonFields::string, object, u"lastModified"_s);
    const auto suggestedFilename = JsonFields::string(object, u"suggestedFilename"_s);
    const auto contentType = JsonFields::optional(JsonFields::string, object, u"contentType"_s);
    if (!originalURL || !finalURL || !totalSize.valid || !acceptsRanges || !etag.valid ||
        !lastModified.valid || !suggestedFilename || !contentType.valid)
        return std::nullopt;
    return RemoteInfo{.originalURL = *originalURL,
                      .finalURL = *finalURL,
                      .totalSize = totalSize.value,
                      .acceptsRanges = *acceptsRanges,
                      .etag = etag.value,
                      .lastModified = lastModified.value,
                      .suggestedFilename = *suggestedFilename,
                      .contentType = contentType.value};
}

} // namespace fetra
