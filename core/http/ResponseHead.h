#pragma once

#include "http/HTTPMessage.h"

#include <optional>
#include <string_view>

namespace fetra {

/// Reads the lines of one answer's head as they arrive. Interim answers (1xx) are read over.
class ResponseHead {
public:
    /// What an honest server never reaches; all interim heads of an answer count together.
    static constexpr qsizetype maxBytes = 65'536;
    static constexpr size_t maxFields = 256;

    enum class Progress { more, complete, tooLarge };

    /// Takes one line with its line end.
    [[nodiscard]] Progress feed(std::string_view line);

    [[nodiscard]] int status() const { return status_; }
    [[nodiscard]] const HTTPHeaders& headers() const { return headers_; }
    [[nodiscard]] bool isComplete() const { return complete_; }

    /// Bytes of the body as declared; -1 when the body says itself where it ends.
    [[nodiscard]] qint64 expectedLength() const;
    /// Whether the body goes on until the connection ends.
    [[nodiscard]] bool endsWithConnection() const;
    [[nodiscard]] std::optional<QString> mimeType() const;

    /// Why the answer cannot be used, as a sentence: contradicting or senseless lengths, lines about them
    /// that libcurl may read otherwise, and for a success a coding that would have to be undone. Nothing when
    /// it can.
    [[nodiscard]] std::optional<QString> problem() const;

private:
    [[nodiscard]] bool isChunked() const;

    qsizetype bytes_ = 0;
    int status_ = 0;
    HTTPHeaders headers_;
    bool complete_ = false;
    /// A line about the body continues an earlier one or has a blank before its colon.
    bool isUnclear_ = false;
};

} // namespace fetra
