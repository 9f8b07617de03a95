#include "http/ResponseHead.h"

#include <algorithm>
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
    const size_t space = line.find(' ');
    int status = 0;
    if (space != std::string_view::npos)
        std::from_chars(line.data() + space + 1, line.data() + line.size(), status);
    return status >= 100 && status <= 999 ? status : 0;
}

std::optional<qint64> parseLength(const QByteArray& text) {
    if (text.isEmpty() || !std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }))
        return std::nullopt;
    bool fits = false;
    const qint64 length = text.toLongLong(&fits);
    return fits ? std::optional(length) : std::nullopt;
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

    if (status_ == 0 || line.starts_with("HTTP/")) {
        status_ = statusOf(line);
        headers_.clear();
        return Progress::more;
    }
    const std::string_view text = trimmed(line);
    if (text.empty()) {
        if (status_ >= 100 && status_ < 200) {
            status_ = 0;
            return Progress::more;
        }
        complete_ = true;
        return Progress::complete;
    }
    if (const size_t colon = line.find(':'); colon != std::string_view::npos)
        headers_.add(bytes(trimmed(line.substr(0, colon))), bytes(trimmed(line.substr(colon + 1))));
    return Progress::more;
}

qint64 ResponseHead::expectedLength() const {
    if (!headers_.values("Transfer-Encoding").empty())
        return -1;
    const std::vector<QByteArray> lengths = listElements(headers_, "Content-Length");
    return lengths.empty() ? -1 : parseLength(lengths.front()).value_or(-1);
}

bool ResponseHead::endsWithConnection() const {
    const bool hasBody = status_ != 204 && status_ != 304;
    return hasBody && headers_.values("Transfer-Encoding").empty() && expectedLength() < 0;
}

std::optional<QString> ResponseHead::mimeType() const {
    const std::optional<QString> value = headers_.value("Content-Type");
    if (!value)
        return std::nullopt;
    const QString type = value->section(u';', 0, 0).trimmed().toLower();
    return type.isEmpty() ? std::nullopt : std::optional(type);
}

std::optional<QString> ResponseHead::problem() const {
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
