#pragma once

#include "app/model/FileKind.h"
#include "manager/DownloadManager.h"

#include <QCoreApplication>

#include <array>
#include <span>

namespace fetra {

class DownloadFilterCounts;

/// Which downloads a list shows: all of them, those at one stage of their life, or those of one kind of file.
/// A plain value.
class DownloadFilter {
    Q_DECLARE_TR_FUNCTIONS(fetra::DownloadFilter)

public:
    static constexpr DownloadFilter kind(FileKind kind) { return DownloadFilter(static_cast<size_t>(kind)); }
    static const DownloadFilter all;
    static const DownloadFilter active;
    static const DownloadFilter queued;
    static const DownloadFilter paused;
    static const DownloadFilter completed;
    static const DownloadFilter failed;

    /// The two groups that are offered for choice, each in its order: `all` and the stages, and the kinds.
    [[nodiscard]] static std::span<const DownloadFilter> stages();
    [[nodiscard]] static std::span<const DownloadFilter> kinds();

    /// In the user's language.
    [[nodiscard]] QString title() const;
    [[nodiscard]] QString symbol() const;
    [[nodiscard]] bool matches(const DownloadItem& item) const;

    /// How many of `items` each filter matches, in one pass.
    [[nodiscard]] static DownloadFilterCounts counts(const QList<DownloadManager::Item>& items);

    constexpr bool operator==(const DownloadFilter&) const = default;
    friend size_t qHash(const DownloadFilter& filter, size_t seed = 0) {
        return ::qHash(static_cast<quint64>(filter.index_), seed);
    }

private:
    friend class DownloadFilterCounts;
    struct Stage;

    static constexpr size_t firstStage = fileKinds.size();
    static constexpr size_t count = firstStage + 6;

    constexpr explicit DownloadFilter(size_t index)
        : index_(index) {}

    [[nodiscard]] bool isKind() const { return index_ < firstStage; }
    /// Not of a kind.
    [[nodiscard]] const Stage& stage() const;

    /// That of the kind in `fileKinds`; behind those, the other filters.
    size_t index_;
};

inline constexpr DownloadFilter DownloadFilter::all(firstStage);
inline constexpr DownloadFilter DownloadFilter::active(firstStage + 1);
inline constexpr DownloadFilter DownloadFilter::queued(firstStage + 2);
inline constexpr DownloadFilter DownloadFilter::paused(firstStage + 3);
inline constexpr DownloadFilter DownloadFilter::completed(firstStage + 4);
inline constexpr DownloadFilter DownloadFilter::failed(firstStage + 5);

/// A number of downloads for each filter.
class DownloadFilterCounts {
public:
    [[nodiscard]] qint64 operator[](const DownloadFilter& filter) const { return counts_.at(filter.index_); }

    bool operator==(const DownloadFilterCounts&) const = default;

private:
    friend class DownloadFilter;
    std::array<qint64, DownloadFilter::count> counts_{};
};

} // namespace fetra
