// What the server does in a random run: it answers honestly or not, sends, breaks off.

#include "OracleRun.h"

#include <algorithm>

namespace fetra::test {

using namespace Qt::StringLiterals;

namespace {

/// Each server has a name of its own for the version; to the date none of them holds.
HTTPResponse headOf(const FakeTask& task, int status, qint64 length) {
    const QString host = task.request().url.host();
    return head(status, length,
                {{"ETag", OracleRun::versionAt(host).toLatin1()},
                 {"Last-Modified", QByteArray::number(task.identifier())}});
}

bool asksPrimary(const FakeTask& task) {
    return task.request().url.host().endsWith(u"0.test"_s);
}

QByteArray contentRange(qint64 first, qint64 last, qint64 total) {
    return "bytes " + QByteArray::number(first) + '-' + QByteArray::number(last) + '/' +
           QByteArray::number(total);
}

} // namespace

void OracleRun::act(FakeTask& task) {
    if (task.isRefused())
        return task.fail(TransportError::cancelled, u"cancelled"_s);
    if (task.hasAnswered())
        return receive(task);
    const qint64 roll = dice_.below(100);
    if (roll < 72)
        answerHonestly(task);
    else if (roll < 84)
        config_.ranged ? refuseRange(task) : refuseWhole(task);
    else if (roll < 90)
        fail(task);
}

/// A range that is not the one that was asked for, or none at all.
void OracleRun::refuseRange(FakeTask& task) {
    HTTPResponse response = honestHead(task);
    Due due = Due::refused;
    switch (dice_.below(9)) {
    case 0:
        response.headers.set("Content-Range",
                             contentRange(task.first() + dice_.between(1, 3), total_ - 1, total_));
        break;
    case 1:
        response.headers.set("Content-Range", contentRange(task.first(), total_, total_ + 1));
        due = config_.total ? Due::refused : Due::either;
        break;
    case 2:
        response.headers.remove("Content-Range");
        break;
    case 3:
        response.headers.set("ETag", "\"other\"");
        response.headers.remove("Last-Modified");
        due = config_.validators.front().etag ? Due::refused : Due::either;
        saidOtherVersion_ = true;
        primarySaidOtherVersion_ = primarySaidOtherVersion_ || asksPrimary(task);
        break;
    case 4: {
        // What is as long as what was asked for, and says that it is the whole, is not a later part.
        const bool isAsLong = task.first() > 0 && task.last() && dice_.oneIn(2);
        response = headOf(task, 200, isAsLong ? *task.last() - task.first() + 1 : total_);
        due = isAsLong ? Due::refused : Due::either;
        saidFullBody_ = true;
        break;
    }
    case 5:
    case 6:
        response = head(dice_.pick({503, 429}), 0);
        if (dice_.oneIn(2))
            response.headers.set("Retry-After", dice_.pick<QByteArray>({"1", "30", "soon"}));
        break;
    default:
        response = head(dice_.pick({0, 404, 416, 500}), 0);
    }
    respond(task, response, due);
}

/// Anything but the whole file from the server that it was asked of.
void OracleRun::refuseWhole(FakeTask& task) {
    HTTPResponse response = head(dice_.pick({0, 302, 404, 500, 503}), 0);
    switch (dice_.below(4)) {
    case 0:
        response.headers.set("Retry-After", "1");
        break;
    case 1:
        response = head(206, 1, {{"Content-Range", contentRange(1, 1, total_)}});
        break;
    case 2:
        if (!asksPrimary(task) && config_.validators.front().etag) {
            response = head(200, total_, {{"ETag", "\"other\""}});
        } else if (config_.total) {
            response = headOf(task, 200, total_ + 1);
            saidOtherSize_ = true;
        } else if (!task.isCancelAsked()) {
            // A length that was never promised does not hold for the next answer.
            respond(task, headOf(task, 200, total_ + 1), Due::taken);
            return fail(task);
        }
        break;
    default:
        break;
    }
    respond(task, response, Due::refused);
}

HTTPResponse OracleRun::honestHead(const FakeTask& task) const {
    if (!config_.ranged)
        return headOf(task, 200, config_.total || total_ % 2 == 0 ? total_ : -1);
    const qint64 last = task.last().value_or(total_ - 1);
    if (task.first() > last)
        return head(416, 0);
    HTTPResponse response = headOf(task, 206, last - task.first() + 1);
    response.headers.set("Content-Range", contentRange(task.first(), last, total_));
    return response;
}

void OracleRun::answerHonestly(FakeTask& task) {
    const HTTPResponse response = honestHead(task);
    // Where no version was known, the wrong one may have been taken for the right one.
    const bool isPlain = response.status != 416 && !saidOtherVersion_ && !task.isCancelAsked();
    respond(task, response, isPlain ? Due::taken : Due::either);
}

void OracleRun::respond(FakeTask& task, const HTTPResponse& response, Due due) {
    note([&] { return nameOf(task) + " answered with " + std::to_string(response.status); });
    const bool isTaken = task.respond(response) == HTTPDisposition::allow;
    if (due == (isTaken ? Due::refused : Due::taken))
        file_.complain(isTaken ? "an answer that should have been refused" : "an honest answer was refused");
    if (!isTaken) {
        count("refusals");
        ++failures_;
        return;
    }
    const bool isWhole = response.status == 200;
    bodies_[task.identifier()] = {.end = isWhole ? total_ : task.last().value_or(total_ - 1) + 1,
                                  .open = !config_.total && (config_.ranged || response.expectedLength < 0)};
    if (isWhole && config_.ranged) {
        count("full bodies");
        file_.rewind();
    }
}

qint64 OracleRun::left(const FakeTask& task) const {
    return bodies_.at(task.identifier()).end - task.position();
}

void OracleRun::receive(FakeTask& task) {
    const Body body = bodies_.at(task.identifier());
    const qint64 roll = dice_.below(100);
    if (left(task) > 0) {
        if (roll < 85)
            send(task, dice_.oneIn(3) ? left(task) : std::min(left(task), dice_.between(1, 40)));
        else if (roll < 91)
            fail(task);
        else if (roll < 95 && !body.open)
            finish(task);
    } else if (roll < 10) {
        fail(task);
    } else if (roll > 90 && !body.open && total_ == body.end) {
        saidOtherSize_ = true;
        send(task, dice_.between(1, 20));
        if (!task.isCancelAsked())
            file_.complain("more than the file was taken for the file");
    } else {
        finish(task);
    }
}

void OracleRun::send(FakeTask& task, qint64 bytes) {
    note([&] {
        return nameOf(task) + " gets " + std::to_string(bytes) + " bytes at " +
               std::to_string(task.position());
    });
    busy_.push_back(&task);
    task.send({file_.content().constData() + task.position(), static_cast<size_t>(bytes)});
    busy_.pop_back();
}

void OracleRun::finish(FakeTask& task) {
    note([&] { return nameOf(task) + " ends"; });
    const bool early = left(task) > 0;
    task.finish();
    completed(task, early);
}

void OracleRun::fail(FakeTask& task) {
    note([&] { return nameOf(task) + " fails"; });
    const bool early = !task.hasAnswered() || left(task) > 0 || bodies_.at(task.identifier()).open;
    task.fail(dice_.pick<int>({TransportError::timedOut, TransportError::connectionLost}), u"no luck"_s);
    completed(task, early);
}

/// Without ranges everything begins again.
void OracleRun::completed(FakeTask& task, bool failed) {
    bodies_.erase(task.identifier());
    if (!failed)
        return;
    count("failures");
    ++failures_;
    if (!config_.ranged)
        file_.rewind();
}

} // namespace fetra::test
