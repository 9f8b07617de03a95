#include "FaultInjector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iostream>
#include <vector>

#include <fcntl.h>

namespace fetra::test {

namespace {

using Kind = SystemCall::Kind;
using Reach = Fault::Reach;

constexpr int burst = 3;
/// Enough to see what they have in common.
constexpr int mostFailures = 400;

struct Failures {
    Kind kind;
    std::vector<int> codes;
};

/// What each call can end with, as its manual page has it.
const Failures failures[] = {
    {Kind::open, {EIO, EINTR, EROFS, ENOSPC, EDQUOT, EMFILE}},
    {Kind::read, {EIO, EINTR, Fault::shortTransfer}},
    {Kind::write, {EIO, ENOSPC, EDQUOT, EINTR, Fault::shortTransfer}},
    {Kind::pwrite, {EIO, ENOSPC, EDQUOT, EINTR, Fault::shortTransfer}},
    {Kind::truncate, {EIO, ENOSPC, EDQUOT, EINTR}},
    {Kind::fsync, {EIO, ENOSPC, EDQUOT, EROFS, EINTR}},
    {Kind::fdatasync, {EIO, ENOSPC, EDQUOT, EROFS, EINTR}},
    {Kind::rename, {EIO, ENOSPC, EDQUOT, EROFS}},
    {Kind::renameat2, {EIO, ENOSPC, EDQUOT, EROFS}},
    {Kind::link, {EIO, ENOSPC, EDQUOT, EROFS}},
    {Kind::unlink, {EIO, EROFS}},
    {Kind::mkdir, {EIO, ENOSPC, EDQUOT, EROFS}},
};

bool canFailWith(const SystemCall& call, int code) {
    if (call.kind == Kind::open && code == EROFS)
        return (call.flags & (O_WRONLY | O_RDWR | O_CREAT)) != 0;
    if (call.kind == Kind::open && (code == ENOSPC || code == EDQUOT))
        return (call.flags & O_CREAT) != 0;
    if (code == Fault::shortTransfer)
        return call.size > 1;
    const auto found = std::ranges::find(failures, call.kind, &Failures::kind);
    return std::ranges::find(found->codes, code) != found->codes.end();
}

} // namespace

std::ostream& operator<<(std::ostream& out, const Fault& fault) {
    const char* code = fault.code == Fault::shortTransfer ? "short" : ::strerrorname_np(fault.code);
    return out << (fault.reach == Reach::wholeDisk ? "any call" : nameOf(fault.kind)) << " number "
               << fault.number << ": " << code << (fault.reach == Reach::once ? ", once" : ", from then on");
}

bool FaultInjector::concerns(const SystemCall& call) const {
    if (fault_.reach == Reach::wholeDisk && call.kind == Kind::read)
        return false;
    return (fault_.reach == Reach::wholeDisk || call.kind == fault_.kind) && canFailWith(call, fault_.code);
}

bool FaultInjector::happens() {
    const int late = ++calls_ - fault_.number;
    if (late < 0 || (fault_.reach == Reach::once && late > 0))
        return false;
    // No signal comes for ever, and the rest of a short transfer gets through.
    if ((fault_.code == EINTR && late >= burst) || (fault_.code == Fault::shortTransfer && late % 2 == 1))
        return false;
    ++fired_;
    return true;
}

long FaultInjector::callBelow(SystemCall& call, const QByteArray&, const Proceed& proceed) {
    if (!isOver_ && concerns(call) && happens()) {
        if (fault_.code != Fault::shortTransfer) {
            errno = fault_.code;
            return -1;
        }
        call.size = (call.size + 1) / 2;
    }
    return call.kind == Kind::fsync || call.kind == Kind::fdatasync ? 0 : proceed();
}

void torture(int atLeast, const std::function<bool(const Fault&)>& run) {
    const ::testing::TestResult& result = *::testing::UnitTest::GetInstance()->current_test_info()->result();
    int points = 0;
    const auto everyPlace = [&](Fault fault) {
        for (;; fault.number += stride) {
            std::ostringstream text;
            text << fault;
            SCOPED_TRACE(text.str());
            if (!run(fault) || result.total_part_count() >= mostFailures)
                return;
            ++points;
        }
    };
    for (const Failures& each : failures) {
        for (const int code : each.codes) {
            everyPlace({.kind = each.kind, .code = code, .reach = Reach::once});
            everyPlace({.kind = each.kind, .code = code, .reach = Reach::fromThenOn});
        }
    }
    for (const int code : {EIO, ENOSPC, EDQUOT, EROFS})
        everyPlace({.kind = Kind::write, .code = code, .reach = Reach::wholeDisk});
    std::cout << points << " fault points\n";
    EXPECT_GE(points * stride, atLeast);
}

} // namespace fetra::test
