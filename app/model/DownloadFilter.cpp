#include "app/model/DownloadFilter.h"

namespace fetra {

struct DownloadFilter::Stage {
    const char* title;
    const char* symbol;
    bool (*matches)(const DownloadItem& item);
};

namespace {

template <DownloadStatus status>
bool hasStatus(const DownloadItem& item) {
    return item.status() == status;
}

bool isAny(const DownloadItem&) {
    return true;
}

bool isActive(const DownloadItem& item) {
    return item.isActive();
}

} // namespace

const DownloadFilter::Stage& DownloadFilter::stage() const {
    // In the order of the indices.
    static constexpr std::array<Stage, count - firstStage> stages{{
        {QT_TR_NOOP("All"), "tray.full", isAny},
        {QT_TR_NOOP("Active"), "arrow.down.circle", isActive},
        {QT_TR_NOOP("Queued"), "clock", hasStatus<DownloadStatus::queued>},
        {QT_TR_NOOP("Paused"), "pause.circle", hasStatus<DownloadStatus::paused>},
        {QT_TR_NOOP("Completed"), "checkmark.circle", hasStatus<DownloadStatus::completed>},
        {QT_TR_NOOP("Failed"), "exclamationmark.circle", hasStatus<DownloadStatus::failed>},
    }};
    return stages.at(index_ - firstStage);
}

std::span<const DownloadFilter> DownloadFilter::stages() {
    static constexpr std::array filters{all, active, queued, paused, completed, failed};
    return filters;
}

std::span<const DownloadFilter> DownloadFilter::kinds() {
    static constexpr auto filters = []<size_t... index>(std::index_sequence<index...>) {
        return std::array{kind(fileKinds[index])...};
    }
    (std::make_index_sequence<fileKinds.size()>());
    return filters;
}

QString DownloadFilter::title() const {
    return isKind() ? fileKindDisplayTitle(fileKinds.at(index_)) : tr(stage().title);
}

QString DownloadFilter::symbol() const {
    return isKind() ? fileKindSymbol(fileKinds.at(index_)) : QString::fromLatin1(stage().symbol);
}

bool DownloadFilter::matches(const DownloadItem& item) const {
    return isKind() ? fileKind(item) == fileKinds.at(index_) : stage().matches(item);
}

DownloadFilterCounts DownloadFilter::counts(const QList<DownloadManager::Item>& items) {
    DownloadFilterCounts counted;
    for (const DownloadManager::Item& item : items) {
        ++counted.counts_.at(kind(fileKind(*item)).index_);
        for (const DownloadFilter& filter : stages())
            counted.counts_.at(filter.index_) += filter.matches(*item) ? 1 : 0;
    }
    return counted;
}

} // namespace fetra
