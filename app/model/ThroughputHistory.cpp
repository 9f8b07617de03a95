#include "app/model/ThroughputHistory.h"

#include <algorithm>
#include <cmath>

namespace fetra {

namespace {

constexpr qint64 maxElapsedMilliseconds = 2'000;

double soundRate(double rate) {
    return std::isfinite(rate) ? std::max(rate, 0.0) : 0.0;
}

} // namespace

ThroughputSample ThroughputHistory::Point::sample() const {
    return {.date = QDateTime::fromMSecsSinceEpoch(milliseconds, Qt::UTC),
            .bytesPerSecond = rates.down,
            .uploadBytesPerSecond = rates.up};
}

void ThroughputHistory::append(Points& points, const Point& point) {
    points.append(point);
    // Where the clock has been set back, old ones may stand behind newer ones.
    points.removeIf(
        [&](const Point& each) { return point.milliseconds - each.milliseconds >= maxAgeMilliseconds; });
    if (points.size() > maxSamples)
        points.remove(0, points.size() - maxSamples);
}

void ThroughputHistory::sample(const DownloadManager& manager, const QDateTime& date) {
    const qint64 now = date.toMSecsSinceEpoch();
    const qint64 elapsed =
        lastMilliseconds_ ? std::clamp<qint64>(now - *lastMilliseconds_, 0, maxElapsedMilliseconds) : 1'000;
    const double seconds = static_cast<double>(elapsed) / 1'000;
    lastMilliseconds_ = now;

    const auto point = [moment = ++moments_, now](double down, double up) {
        return Point{
            .moment = moment, .milliseconds = now, .rates = {.down = soundRate(down), .up = soundRate(up)}};
    };
    append(total_, point(manager.totalBytesPerSecond(), manager.totalUploadBytesPerSecond()));

    qsizetype seen = 0;
    for (const DownloadManager::Item& item : manager.items()) {
        auto series = series_.find(item->id());
        if (series == series_.end()) {
            if (!item->isActive())
                continue;
            series = series_.insert(item->id(), {.firstMoment = moments_});
        }
        ++seen;
        series->seenMoment = moments_;
        if (item->isActive()) {
            const Point latest = point(item->bytesPerSecond(), item->uploadBytesPerSecond());
            append(series->active, latest);
            series->bytes += seconds * latest.rates.down;
            series->seconds += seconds;
        } else if (!series->active.isEmpty() && series->active.last().moment < total_.first().moment) {
            series->active = {};
        }
    }
    if (seen < series_.size())
        series_.removeIf([this](const auto& each) { return each.value().seenMoment < moments_; });

    Q_EMIT changed();
}

QList<ThroughputSample> ThroughputHistory::total() const {
    QList<ThroughputSample> samples;
    samples.reserve(total_.size());
    for (const Point& point : total_)
        samples.append(point.sample());
    return samples;
}

QList<ThroughputSample> ThroughputHistory::samples(const DownloadItem& item) const {
    const auto series = series_.find(item.id());
    if (series == series_.end())
        return {};

    const auto first = std::ranges::lower_bound(total_, series->firstMoment, {}, &Point::moment);
    QList<ThroughputSample> samples;
    samples.reserve(total_.end() - first);
    auto active = series->active.begin();
    for (auto each = first; each != total_.end(); ++each) {
        Point point = *each;
        while (active != series->active.end() && active->moment < point.moment)
            ++active;
        const bool ran = active != series->active.end() && active->moment == point.moment;
        point.rates = ran ? active->rates : Rates{};
        samples.append(point.sample());
    }
    return samples;
}

double ThroughputHistory::average(const DownloadItem& item) const {
    const auto series = series_.find(item.id());
    if (item.status() == DownloadStatus::completed || series == series_.end() || series->seconds <= 0)
        return item.averageBytesPerSecond();
    return series->bytes / series->seconds;
}

} // namespace fetra
