#include "support/Routes.h"

#include <atomic>
#include <memory>

namespace fetra::test {

Handler routes(std::map<QByteArray, Handler> paths) {
    return [table = std::make_shared<const std::map<QByteArray, Handler>>(std::move(paths))](
               ServerExchange& exchange) {
        const auto found = table->find(exchange.request().path);
        if (found != table->end())
            return found->second(exchange);
        exchange.respond(404, {{"Content-Type", "text/plain"}}, "nothing here\n");
    };
}

Handler redirect(QByteArray location, int status) {
    return redirectInTurn({QByteArray()}, std::move(location), status);
}

Handler redirectInTurn(std::vector<QByteArray> origins, QByteArray path, int status) {
    auto turn = std::make_shared<std::atomic<std::size_t>>(0);
    return [origins = std::move(origins), path = std::move(path), status, turn](ServerExchange& exchange) {
        const QByteArray location = origins[(*turn)++ % origins.size()] + path;
        exchange.respond(status, {{"Location", location}, {"Content-Type", "text/html"}},
                         "<html>Moved.</html>\n");
    };
}

} // namespace fetra::test
