#include "app/desktop/ClipboardCounter.h"

#include <QCryptographicHash>

namespace fetra {

void ClipboardCounter::announce(Occasion occasion, const std::optional<QString>& text) {
    const QByteArray held =
        text ? QCryptographicHash::hash(text->toUtf8(), QCryptographicHash::Sha256) : QByteArray();
    if (occasion == Occasion::copy || held != seen_)
        ++count_;
    seen_ = held;
}

} // namespace fetra
