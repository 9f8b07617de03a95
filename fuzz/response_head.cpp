#include "Check.h"
#include "http/HeaderRules.h"
#include "http/ResponseHead.h"

#include <algorithm>
#include <string>

using namespace fetra;
using fuzz::check;

namespace {

/// The head read as libcurl hands it over, line by line; only what comes after its end is left.
ResponseHead::Progress read(ResponseHead& head, std::string_view& input) {
    qsizetype taken = 0;
    while (!input.empty()) {
        const std::string_view line = input.substr(0, std::min(input.find('\n'), input.size() - 1) + 1);
        input.remove_prefix(line.size());
        taken += static_cast<qsizetype>(line.size());
        const ResponseHead::Progress progress = head.feed(line);
        check(progress == ResponseHead::Progress::tooLarge || taken <= ResponseHead::maxBytes,
              "no head is longer than the limit");
        check(head.headers().fields().size() <= ResponseHead::maxFields, "nor has more fields");
        check(head.isComplete() == (progress == ResponseHead::Progress::complete), "the end is told once");
        if (progress != ResponseHead::Progress::more)
            return progress;
    }
    return ResponseHead::Progress::more;
}

bool holdsLineEnd(const QByteArray& text) {
    return text.contains('\n') || text.startsWith('\r') || text.endsWith('\r');
}

/// What may be sent arrives as it was: one field, of that name and value.
void checkSent(const QByteArray& name, const QByteArray& value) {
    if (!HeaderRules::isValidName(name) || !HeaderRules::isValidValue(value))
        return;
    const std::string written =
        "HTTP/1.1 200\r\n" + name.toStdString() + ": " + value.toStdString() + "\r\n\r\n";
    ResponseHead head;
    std::string_view input = written;
    const ResponseHead::Progress progress = read(head, input);
    check(progress == ResponseHead::Progress::tooLarge ||
              (progress == ResponseHead::Progress::complete && input.empty()),
          "no header ends the head");
    if (progress == ResponseHead::Progress::complete)
        check(head.headers().fields() == std::vector{std::pair(name, value)}, "nor begins another");
}

bool holdsElement(const std::vector<QByteArray>& values, const QByteArray& element) {
    return std::ranges::any_of(values, [&](const QByteArray& value) {
        return std::ranges::any_of(
            value.split(','), [&](const QByteArray& each) { return each.trimmed().toLower() == element; });
    });
}

void checkComplete(const ResponseHead& head) {
    check(head.status() >= 200 && head.status() <= 999, "a final status of three digits");
    const std::vector<QByteArray> lengths = head.headers().values("Content-Length");
    const bool isChunked = holdsElement(head.headers().values("Transfer-Encoding"), "chunked");
    const qint64 length = head.expectedLength();
    check(length >= -1 && (length < 0 || (!isChunked && !lengths.empty())),
          "a length was declared, not made");
    if (!head.problem()) {
        for (const QByteArray& each : lengths)
            for (const QByteArray& element : each.split(','))
                check(element.trimmed().isEmpty() || isChunked || element.trimmed().toLongLong() == length,
                      "one length and no other");
    }
    check(!head.endsWithConnection() || length < 0, "what has a length ends by itself");
    if (const auto type = head.mimeType())
        check(!type->isEmpty() && !type->contains(QLatin1Char(';')) && *type == type->toLower(),
              "a type without its parameters");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    ResponseHead head;
    if (read(head, input) == ResponseHead::Progress::complete)
        checkComplete(head);
    for (const auto& [name, value] : head.headers().fields()) {
        check(!holdsLineEnd(name) && !holdsLineEnd(value), "a field is one line");
        check(head.headers().value(name).has_value(), "a field is found by its name");
        checkSent(name, value);
    }
    return 0;
}
