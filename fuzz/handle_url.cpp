#include "app/model/AppModel.h"
#include "Check.h"
#include "model/FakeDesktop.h"
#include "support/NoRunners.h"

#include <QCoreApplication>

using namespace fetra;
using fuzz::check;

namespace {

/// An application whose list is empty and stays on paper.
struct Application {
    Application() { manager.setMaxConcurrentDownloads(0); }

    int count = 0;
    QCoreApplication application{count, nullptr};
    test::NoRunners runners;
    DownloadManager manager{{.defaultDirectory = QUrl::fromLocalFile(QStringLiteral("/nowhere"))}, runners};
    test::FakeDesktop fake;
    SystemClock clock;
    AppModel model{manager, fake.desktop(), clock};
};

void open(Application& app, const QUrl& url) {
    app.model.handleURL(url);
    const AppModel::Items& items = app.manager.items();
    check(items.size() <= AppModel::maxAddLinkCount, "no endless list");
    check(!app.model.errorMessage() || items.isEmpty(), "what is refused adds nothing");
    check(app.model.selection().size() == items.size(), "what is added is selected");
    for (const AppModel::Item& item : items) {
        check(item->url().isValid() && !item->url().isRelative(), "addresses can be asked for");
        check(!item->filename().isEmpty() && !item->filename().contains(u'/'), "names are names");
    }
    app.manager.remove(QList(items), false);
    app.model.setErrorMessage(std::nullopt);
    app.model.setSelection({});
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static Application app;
    const QString text = fuzz::headerText(data, size);
    open(app, QUrl(text));
    open(app, QUrl(QStringLiteral("fetra://add?url=") + text));
    return 0;
}
