#pragma once

#include "manager/DownloadManager.h"

#include <QDateTime>
#include <QHash>
#include <QObject>
#include <QUuid>

#include <optional>

namespace fetra {

/// The rates at one moment, in bytes per second, never negative.
struct ThroughputSample {
    QDateTime date{};
    double bytesPerSecond = 0;
    double uploadBytesPerSecond = 0;

    bool operator==(const ThroughputSample&) const = default;
};

/// The rates of the last two minutes, of all downloads together and of each one since it first ran, and the
/// average of each one's runs since the application started. Whoever owns it feeds it once a second. Main
/// thread only.
class ThroughputHistory final : public QObject {
    Q_OBJECT

public:
    static constexpr qint64 maxAgeMilliseconds = 120'000;
    static constexpr qsizetype maxSamples = 120;

    /// Takes down one moment. What is no longer in the manager's list is forgotten.
    void sample(const DownloadManager& manager, const QDateTime& date);

    /// Oldest first.
    [[nodiscard]] QList<ThroughputSample> total() const;
    /// Empty when it has not been seen running.
    [[nodiscard]] QList<ThroughputSample> samples(const DownloadItem& item) const;
    /// In bytes per second; the item's own figure when it is complete or has not been seen running.
    [[nodiscard]] double average(const DownloadItem& item) const;

Q_SIGNALS:
    /// Once for each moment.
    void changed();

private:
    struct Rates {
        double down = 0;
        double up = 0;
    };
    struct Point {
        /// Counts the moments; dates may repeat when the clock is set back.
        qint64 moment = 0;
        qint64 milliseconds = 0;
        Rates rates{};

        [[nodiscard]] ThroughputSample sample() const;
    };
    using Points = QList<Point>;

    struct Series {
        qint64 firstMoment = 0;
        /// When the manager's list last held it.
        qint64 seenMoment = 0;
        /// Only those while it was active. In between, and until now, the rates are zero: thousands of
        /// downloads that have ended take neither time nor memory.
        Points active{};
        double bytes = 0;
        double seconds = 0;
    };

    static void append(Points& points, const Point& point);

    /// How many there have been.
    qint64 moments_ = 0;
    Points total_;
    QHash<QUuid, Series> series_;
    std::optional<qint64> lastMilliseconds_;
};

} // namespace fetra
