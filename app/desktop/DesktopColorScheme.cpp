#include "app/desktop/DesktopColorScheme.h"

#include "app/desktop/BusCall.h"

#include <QDBusMessage>
#include <QDBusVariant>

namespace fetra {

using namespace Qt::StringLiterals;

namespace {

const QString service = u"org.freedesktop.portal.Desktop"_s;
const QString path = u"/org/freedesktop/portal/desktop"_s;
const QString interface = u"org.freedesktop.portal.Settings"_s;
const QString group = u"org.freedesktop.appearance"_s;
const QString key = u"color-scheme"_s;

} // namespace

DesktopColorScheme::DesktopColorScheme(const QDBusConnection& bus) {
    QDBusConnection(bus).connect(service, path, interface, u"SettingChanged"_s, this,
                                 SLOT(take(QDBusMessage)));
    // `ReadOne` would spare one wrapping, but portals of today's stable systems lack it.
    auto read = QDBusMessage::createMethodCall(service, path, interface, u"Read"_s);
    read.setArguments({group, key});
    callAsync(bus, read, *this, [this](const QDBusMessage& answer) {
        if (answer.type() == QDBusMessage::ReplyMessage && !answer.arguments().isEmpty())
            set(answer.arguments().constFirst());
    });
}

void DesktopColorScheme::take(const QDBusMessage& change) {
    const QVariantList arguments = change.arguments();
    if (arguments.size() == 3 && arguments.at(0) == group && arguments.at(1) == key)
        set(arguments.at(2));
}

void DesktopColorScheme::set(const QVariant& value) {
    QVariant plain = value;
    while (plain.canConvert<QDBusVariant>())
        plain = plain.value<QDBusVariant>().variant();
    const uint number = plain.toUInt();
    const Wish wish = number == 1 ? Wish::dark : number == 2 ? Wish::light : Wish::none;
    if (wish == wish_)
        return;
    wish_ = wish;
    Q_EMIT changed();
}

} // namespace fetra
