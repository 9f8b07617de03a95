#include "manager/DownloadStatus.h"

#include <array>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

/// In the order of the enumeration.
const std::array texts{u"queued"_s, u"probing"_s, u"downloading"_s, u"paused"_s, u"completed"_s, u"failed"_s};

} // namespace

QString statusText(DownloadStatus status) {
    return texts.at(static_cast<size_t>(status));
}

std::optional<DownloadStatus> statusFromText(const QString& text) {
    for (size_t index = 0; index < texts.size(); ++index) {
        if (texts[index] == text)
            return static_cast<DownloadStatus>(index);
    }
    return std::nullopt;
}

} // namespace fetra
