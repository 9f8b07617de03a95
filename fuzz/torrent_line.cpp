#include "Check.h"
#include "torrent/TorrentStatusLine.h"
#include "transfer/DownloadProgress.h"

#include <QByteArrayList>
#include <QJsonDocument>
#include <QJsonObject>

#include <cmath>

using namespace fetra;
using fuzz::check;

namespace {

QByteArrayList linesOf(const QByteArrayList& pieces) {
    TorrentLineBuffer buffer;
    QByteArrayList lines;
    for (const QByteArray& piece : pieces) {
        buffer.append(piece);
        while (const auto line = buffer.next())
            lines += *line;
    }
    return lines;
}

void checkLine(const QByteArray& bytes) {
    const std::optional<TorrentStatusLine> line = TorrentStatusLine::parse(bytes);
    const QJsonDocument document = QJsonDocument::fromJson(bytes);
    check(line.has_value() == document.isObject(), "every JSON object is a line, and nothing else is");
    if (!line)
        return;
    check(std::isfinite(line->rate) && std::isfinite(line->upload), "speeds are numbers");
    check(line->total.has_value() == document.object().value(QLatin1StringView("total")).isDouble(),
          "a size is there when a number is");
    const DownloadProgress progress{.totalBytes = line->total,
                                    .receivedBytes = line->completed.value_or(0),
                                    .bytesPerSecond = line->rate};
    check(progress.eta().value_or(0) >= 0, "no download ends in the past");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray all(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
    const QByteArrayList whole = linesOf({all});
    check(whole.size() == all.count('\n'), "a line for every line feed");
    // The first byte says where the input is split.
    const qsizetype cut = size == 0 ? 0 : static_cast<quint8>(all.front()) % (all.size() + 1);
    check(linesOf({all.first(cut), all.sliced(cut)}) == whole, "it does not matter where the input is split");
    for (const QByteArray& line : whole)
        checkLine(line);
    return 0;
}
