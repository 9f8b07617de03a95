#include "Check.h"
#include "transfer/HTTPProbe.h"

#include <array>

using namespace fetra;
using fuzz::check;

namespace {

constexpr qsizetype maxBytes = 237;

void checkSafe(const QString& name) {
    check(!name.isEmpty(), "not empty");
    check(!name.startsWith(QLatin1Char('.')), "not hidden");
    check(name.isValidUtf16(), "valid text");
    check(name.toUtf8().size() <= maxBytes, "short enough");
    for (const char32_t character : name.toUcs4()) {
        const QChar::Category category = QChar::category(character);
        check(character != U'/' && character != U'\\' && character != U':', "no separators");
        check(category != QChar::Other_Control && category != QChar::Other_Format, "no control characters");
    }
}

/// Even first byte: the rest is UTF-8. Odd: UTF-16 as it comes, lone surrogates and all.
QString text(const uint8_t* data, size_t size) {
    if (size == 0)
        return QString();
    const QByteArrayView bytes(data + 1, static_cast<qsizetype>(size - 1));
    if (data[0] % 2 == 0)
        return QString::fromUtf8(bytes);
    QString units;
    for (qsizetype index = 0; index + 1 < bytes.size(); index += 2)
        units += QChar(static_cast<uchar>(bytes[index]), static_cast<uchar>(bytes[index + 1]));
    return units;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::array types{QStringLiteral("application/pdf"), QStringLiteral("image/jpeg; x"),
                                  QStringLiteral("application/x-compressed-tar"), QStringLiteral("no/type")};
    // A known type is read from disk each time it is asked for.
    constexpr size_t typesEvery = 64;
    const QString name = text(data, size);
    const QString safe = HTTPProbe::sanitize(name);
    checkSafe(safe);
    // White space behind the dots of a hidden name is left, once.
    check(safe.front().isSpace() || HTTPProbe::sanitize(safe) == safe, "a safe name stays as it is");
    check(HTTPProbe::usableName(name).value_or(QStringLiteral("download")) == safe,
          "made up only where it must be");
    if (size % typesEvery < types.size())
        checkSafe(HTTPProbe::ensureExtension(safe, types[size % typesEvery]));
    checkSafe(HTTPProbe::ensureExtension(safe, name));
    if (const auto fromURL = HTTPProbe::filenameFromURL(QUrl(name)))
        checkSafe(HTTPProbe::sanitize(*fromURL));
    return 0;
}
