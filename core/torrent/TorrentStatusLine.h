#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

namespace fetra {

/// One line of the torrent helper's output. Sizes in bytes, speeds in bytes per second.
struct TorrentStatusLine {
    enum class Kind { status, done, error };

    Kind kind = Kind::status;
    /// The sentence of an error line, when it has one.
    std::optional<QString> error = {};
    std::optional<QString> name = {};
    std::optional<qint64> total = {};
    std::optional<qint64> completed = {};
    qint64 peers = 0;
    qint64 seeds = 0;
    double rate = 0;
    double upload = 0;
    qint64 uploaded = 0;

    /// Nothing for what is no JSON object. A value of another type than its key asks for counts as absent;
    /// fractions of whole numbers are cut off.
    [[nodiscard]] static std::optional<TorrentStatusLine> parse(const QByteArray& line);

    bool operator==(const TorrentStatusLine&) const = default;
};

/// Puts lines together from whatever pieces they arrive in.
class TorrentLineBuffer {
public:
    /// A longer line is dropped whole.
    static constexpr qsizetype maxLineBytes = 1'048'576;

    void append(const QByteArray& data);
    /// The next complete line, without its line feed.
    [[nodiscard]] std::optional<QByteArray> next();

private:
    QByteArray pending_;
    /// Up to here no line feed was found.
    qsizetype searched_ = 0;
    /// The head of the present line was dropped already.
    bool overlong_ = false;
};

} // namespace fetra
