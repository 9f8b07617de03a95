#include "torrent/TorrentStatusLine.h"

#include <QJsonDocument>
#include <QJsonObject>

#include <limits>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

std::optional<double> number(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isDouble() ? std::optional(value.toDouble()) : std::nullopt;
}

std::optional<qint64> integer(const QJsonObject& object, QLatin1StringView key) {
    const std::optional<double> value = number(object, key);
    if (!value)
        return std::nullopt;
    using Limits = std::numeric_limits<qint64>;
    constexpr double beyond = 9'223'372'036'854'775'808.0;
    const qint64 truncated = *value >= beyond    ? Limits::max()
                             : *value <= -beyond ? Limits::min()
                                                 : static_cast<qint64>(*value);
    // The default comes back for a number with a fraction, and for nothing else.
    return object.value(key).toInteger(truncated);
}

std::optional<QString> text(const QJsonObject& object, QLatin1StringView key) {
    const QJsonValue value = object.value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

TorrentStatusLine::Kind kindOf(const QJsonObject& object) {
    const QString type = text(object, "type"_L1).value_or(QString());
    if (type == "error"_L1)
        return TorrentStatusLine::Kind::error;
    return type == "done"_L1 ? TorrentStatusLine::Kind::done : TorrentStatusLine::Kind::status;
}

} // namespace

std::optional<TorrentStatusLine> TorrentStatusLine::parse(const QByteArray& line) {
    const QJsonDocument document = QJsonDocument::fromJson(line);
    if (!document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    return TorrentStatusLine{.kind = kindOf(object),
                             .error = text(object, "error"_L1),
                             .name = text(object, "name"_L1),
                             .total = integer(object, "total"_L1),
                             .completed = integer(object, "completed"_L1),
                             .peers = integer(object, "peers"_L1).value_or(0),
                             .seeds = integer(object, "seeds"_L1).value_or(0),
                             .rate = number(object, "rate"_L1).value_or(0),
                             .upload = number(object, "upload"_L1).value_or(0),
                             .uploaded = integer(object, "uploaded"_L1).value_or(0)};
}

void TorrentLineBuffer::append(const QByteArray& data) {
    pending_ += data;
}

std::optional<QByteArray> TorrentLineBuffer::next() {
    for (;;) {
        const qsizetype end = pending_.indexOf('\n', searched_);
        const qsizetype length = end < 0 ? pending_.size() : end;
        if (length > maxLineBytes)
            overlong_ = true;
        if (end < 0) {
            if (overlong_)
                pending_.clear();
            searched_ = pending_.size();
            return std::nullopt;
        }
        QByteArray line = pending_.first(end);
        pending_.remove(0, end + 1);
        searched_ = 0;
        if (!std::exchange(overlong_, false))
            return line;
    }
}

} // namespace fetra
