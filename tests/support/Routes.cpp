#include "support/Routes.h"

#include <atomic>
#include <memory>

namespace fetra::test {

namespace {

void sendRedirect(ServerExchange& exchange, const QByteArray& location, int status) {
    exchange.respond(status, {{"Location", location}, {"Content-Type", "text/html"}},
                     "<html>Moved.</html>\n");
}

} // namespace

Handler routes(std::map<QByteArray, Handler> paths) {
    return [table = std::make_shared<const std::map<QByteArray, Handler>>(std::move(paths))](
               ServerExchange& exchange) {
        const QByteArray& path = exchange.request().path;
        if (const auto exact = table->find(path); exact != table->end())
            return exact->second(exchange);
        for (const auto& [key, handler] : *table) {
            if (key.endsWith('*') && path.startsWith(key.chopped(1)))
                return handler(exchange);
        }
        exchange.respond(404, {{"Content-Type", "text/plain"}}, "nothing here\n");
    };
}

Handler redirect(QByteArray location, int status) {
    return [location = std::move(location), status](ServerExchange& exchange) {
        sendRedirect(exchange, location, status);
    };
}

Handler redirect(const QUrl& target, int status) {
    return redirect(target.toEncoded(), status);
}

Handler redirectHops(QByteArray prefix, QByteArray target, int status) {
    return [prefix = std::move(prefix), target = std::move(target), status](ServerExchange& exchange) {
        const int left = exchange.request().path.sliced(prefix.size()).toInt();
        sendRedirect(exchange, left > 0 ? prefix + QByteArray::number(left - 1) : target, status);
    };
}

Handler redirectInTurn(std::vector<QByteArray> origins, QByteArray path, int status) {
    auto turn = std::make_shared<std::atomic<std::size_t>>(0);
    return [origins = std::move(origins), path = std::move(path), status, turn](ServerExchange& exchange) {
        sendRedirect(exchange, origins[(*turn)++ % origins.size()] + path, status);
    };
}

} // namespace fetra::test
