#include "transfer/Checksum.h"

#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <utility>

namespace fetra {
namespace {

using namespace Qt::StringLiterals;
using test::TempFolder;

TEST(ChecksumTest, DigestsFilesOfAnySize) {
    // The last two end with a whole chunk and with one byte more.
    const std::pair<QByteArray, QString> cases[] = {
        {"", u"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"_s},
        {QByteArray(8'388'608, 'a'), u"ad97f87076920684e2ca66fc44e5d322797dc9d64706b174e51b5d0828937043"_s},
        {QByteArray(8'388'609, 'a'), u"c92697f4cc3b569dff3d484285d22487e523d4b439ae7c9a6747dc258e35b275"_s},
    };
    const TempFolder folder;
    for (const auto& [content, digest] : cases)
        EXPECT_EQ(Checksum::sha256(folder.write(u"f"_s, content)), digest) << content.size();
}

} // namespace
} // namespace fetra
