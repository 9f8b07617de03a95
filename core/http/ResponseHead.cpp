#include "http/ResponseHead.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

QByteArray bytes(std::string_view text) {
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

/// The status of a status line, or 0 for what has no three digits there.
int statusOf(std::string_view line) {
    const size_t digits = line.find_first_not_of(' ', line.find(' '));
    int status = 0;
    if (digits != std::string_view::npos)
        std::from_chars(line.data() + digits, line.data() + line.size(), status);
    return status >= 100 && status <= 999 ? status : 0;
}

std::optional<qint64> parseLength(const QByteArray& text) {
    if (text.isEmpty() || !std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    bool fits = false;
    const qint64 length = text.toLongLong(&fits);
    return fits ? std::optional(length) : std::nullopt;
}

/// Fields that say where the body ends and what was done to it.
bool isAboutBody(const QByteArray& name) {
    return std::ranges::any_of(
        std::array{"Content-Length", "Transfer-Encoding", "Content-Encoding"},
        [&](const char* field) { return name.compare(field, Qt::CaseInsensitive) == 0; });
}

/// The elements of every field of that name, lower case, split at commas.
std::vector<QByteArray> listElements(const HTTPHeaders& headers, const QByteArray& name) {
    std::vector<QByteArray> elements;
    for (const QByteArray& value : headers.values(name)) {
        for (const QByteArray& element : value.split(',')) {
            if (const QByteArray text = element.trimmed().toLower(); !text.isEmpty())
                elements.push_back(text);
        }
    }
    return elements;
}

} // namespace

ResponseHead::Progress ResponseHead::feed(std::string_view line) {
    bytes_ += static_cast<qsizetype>(line.size());
    if (bytes_ > maxBytes || headers_.fields().size() >= maxFields)
        return Progress::tooLarge;

    if (status_ == 0) {
        status_ = statusOf(line);
        headers_.clear();
        isUnclear_ = false;
        return Progress::more;
    }
    // A line of blanks is none.
    if (line.starts_with('\r') || line.starts_with('\n')) {
        if (status_ >= 100 && status_ < 200) {
            status_ = 0;
            return Progress::more;
        }
        complete_ = true;
        return Progress::complete;
    }
    if (line.starts_with(' ') || line.starts_with('\t')) {
        isUnclear_ =
            isUnclear_ || (!headers_.fields().empty() && isAboutBody(headers_.fields().back().first));
        return Progress::more;
    }
    if (const size_t colon = line.find(':'); colon != std::string_view::npos) {
        const QByteArray name = bytes(trimmed(line.substr(0, colon)));
        isUnclear_ = isUnclear_ || (name.size() != static_cast<qsizetype>(colon) && isAboutBody(name));
        headers_.add(name, bytes(trimmed(line.substr(colon + 1))));
    }
    return Progress::more;
}

bool ResponseHead::isChunked() const {
    const std::vector<QByteArray> codings = listElements(headers_, "Transfer-Encoding");
    return std::ranges::find(codings, "chunked") != codings.end();
}

qint64 ResponseHead::expectedLength() const {
    if (isChunked())
        return -1;
    const std::vector<QByteArray> lengths = listElements(headers_, "Content-Length");
    return lengths.empty() ? -1 : parseLength(lengths.front()).value_or(-1);
}

bool ResponseHead::endsWithConnection() const {
    const bool hasBody = status_ != 204 && status_ != 304;
    return hasBody && !isChunked() && expectedLength() < 0;
}

std::optional<QString> ResponseHead::mimeType() const {
    const std::optional<QString> value = headers_.value("Content-Type");
    if (!value)
        return std::nullopt;
    const QString type = value->section(u';', 0, 0).trimmed().toLower();
    return type.isEmpty() ? std::nullopt : std::optional(type);
}

std::optional<QString> ResponseHead::problem() const {
    if (isUnclear_)
        return u"The server's answer does not say clearly how it is to be read"_s;
    const std::vector<QByteArray> lengths = listElements(headers_, "Content-Length");
    for (const QByteArray& length : lengths) {
        if (!parseLength(length))
            return u"The server declared a length that is no number"_s;
        if (parseLength(length) != parseLength(lengths.front()))
            return u"The server declared two different lengths"_s;
    }
    if (status_ < 200 || status_ > 299)
        return std::nullopt;
    for (const QByteArray& coding : listElements(headers_, "Content-Encoding")) {
        if (coding != "identity")
            return u"The server sent the file in the coding \"%1\", which was not asked for"_s.arg(
                QString::fromLatin1(coding.left(40)));
    }
    for (const QByteArray& coding : listElements(headers_, "Transfer-Encoding")) {
        if (coding != "identity" && coding != "chunked")
            return u"The server sent the file in the transfer coding \"%1\", which was not asked for"_s.arg(
                QString::fromLatin1(coding.left(40)));
    }
    return std::nullopt;
}

} // namespace fetra
