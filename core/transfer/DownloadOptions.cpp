#include "transfer/DownloadOptions.h"

#include "transfer/JsonFields.h"

#include <algorithm>

namespace fetra {

using namespace Qt::StringLiterals;

const QString DownloadOptions::defaultUserAgent = u"Fetra/1.0 (macOS)"_s;

namespace {

std::optional<QMap<QString, QString>> readHeaders(const QJsonObject& object) {
    const QJsonValue value = object.value("headers"_L1);
    if (!value.isObject())
        return std::nullopt;
    const QJsonObject fields = value.toObject();
    QMap<QString, QString> headers;
    for (auto field = fields.begin(); field != fields.end(); ++field) {
        if (!field.value().isString())
            return std::nullopt;
        headers.insert(field.key(), field.value().toString());
    }
    return headers;
}

} // namespace

DownloadOptions DownloadOptions::clamped() const {
    constexpr double shortestTimeout = 5.0;
    DownloadOptions result = *this;
    result.connections = std::clamp<qint64>(connections, 1, 64);
    result.minSegmentSize = qMax<qint64>(minSegmentSize, 65'536);
    result.maxRetries = qMax<qint64>(maxRetries, 0);
    result.requestTimeout = requestTimeout > shortestTimeout ? requestTimeout : shortestTimeout; // NaN too.
    return result;
}

QJsonObject DownloadOptions::toJson() const {
    QJsonObject fields;
    for (auto header = headers.begin(); header != headers.end(); ++header)
        fields.insert(header.key(), header.value());
    QJsonObject object{{u"connections"_s, connections},
                       {u"minSegmentSize"_s, minSegmentSize},
                       {u"maxRetries"_s, maxRetries},
                       {u"requestTimeout"_s, requestTimeout},
                       {u"headers"_s, fields},
                       {u"userAgent"_s, userAgent},
                       {u"dynamicSplit"_s, dynamicSplit},
                       {u"resume"_s, resume}};
    if (expectedSHA256)
        object.insert(u"expectedSHA256"_s, *expectedSHA256);
    return object;
}

std::optional<DownloadOptions> DownloadOptions::fromJson(const QJsonObject& object) {
    const auto connections = JsonFields::integer(object, u"connections"_s);
    const auto minSegmentSize = JsonFields::integer(object, u"minSegmentSize"_s);
    const auto maxRetries = JsonFields::integer(object, u"maxRetries"_s);
    const auto requestTimeout = JsonFields::number(object, u"requestTimeout"_s);
    const auto headers = readHeaders(object);
    const auto userAgent = JsonFields::string(object, u"userAgent"_s);
    const auto dynamicSplit = JsonFields::boolean(object, u"dynamicSplit"_s);
    const auto resume = JsonFields::boolean(object, u"resume"_s);
    const auto expected = JsonFields::optional(JsonFields::string, object, u"expectedSHA256"_s);
    if (!connections || !minSegmentSize || !maxRetries || !requestTimeout || !headers || !userAgent ||
        !dynamicSplit || !resume || !expected.valid)
        return std::nullopt;
    return DownloadOptions{.connections = *connections,
                           .minSegmentSize = *minSegmentSize,
                           .maxRetries = *maxRetries,
                           .requestTimeout = *requestTimeout,
                           .headers = *headers,
                           .userAgent = *userAgent,
                           .dynamicSplit = *dynamicSplit,
                           .resume = *resume,
                           .expectedSHA256 = expected.value};
}

} // namespace fetra
