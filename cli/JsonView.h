#pragma once

#include "cli/ProgressView.h"

#include <QByteArray>
#include <QJsonObject>

#include <functional>

namespace fetra::cli {

/// The text of `object`, with nothing in it that a terminal would act on.
[[nodiscard]] QByteArray jsonText(const QJsonObject& object, bool indented);

/// Events for programs: one JSON object a line.
class JsonView final : public ProgressView {
public:
    enum class Events { all, withoutProgress };
    /// `write` gets whole lines.
    JsonView(Events events, std::function<void(const QByteArray&)> write);

    void started(const DownloadLabel& label, const TransferStart& start) override;
    void progressed(const DownloadLabel& label, const DownloadProgress& progress) override;
    void completed(const DownloadLabel& label, const DownloadResult& result) override;
    void failed(const DownloadLabel& label, const TransferFailure& failure) override;

private:
    void emitEvent(const QString& name, const DownloadLabel& label, QJsonObject fields);

    const Events events_;
    const std::function<void(const QByteArray&)> write_;
};

} // namespace fetra::cli
