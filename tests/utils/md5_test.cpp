#include "vesko/utils/md5.h"

#include "utils/digest_contract.h"

namespace Tovra::Testing {

using Utils::CMd5;

struct Md5Subject {
    using Digest = CMd5;
    static constexpr std::size_t sizeBytes = 16;
    static constexpr const char* hexOfZeros = "ea3b62c6b93cb3625a1fd76777985f5a";
    static constexpr Published published[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
         "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    static void final(CMd5& md5, unsigned char* digest) { md5.final(digest); }
    static void hex(CMd5& md5, char* text) { md5.hex(text); }
    static const EVP_MD* peer() { return EVP_md5(); }
};
INSTANTIATE_TYPED_TEST_SUITE_P(Md5, DigestContract, Md5Subject);

TEST(Md5, InitDiscardsPiecesAndResults) {
    CMd5 md5;
    feed(md5, std::string(100, 'x'));
    md5.init();
    feed(md5, "a");
    EXPECT_EQ(hexOf<Md5Subject>(md5), "0cc175b9c0f1b6a831c399e269772661");
    md5.init();
    EXPECT_EQ(hexOf<Md5Subject>(md5), "d41d8cd98f00b204e9800998ecf8427e");
}

TEST(Md5, ReportsNullAndLeavesTheMessageOpen) {
    CMd5 md5;
    feed(md5, "a");
    const std::string log = printed(2, [&md5] {
        md5.final(nullptr);
        md5.hex(nullptr);
    });
    expectLines(log, {"digest is NULL\n", "hash is NULL\n"});
    feed(md5, "bc");
    EXPECT_EQ(hexOf<Md5Subject>(md5), "900150983cd24fb0d6963f7d28e17f72");
}

}  // namespace Tovra::Testing
