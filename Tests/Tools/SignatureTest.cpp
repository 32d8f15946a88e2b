#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/Delivery/Keys/SecretKey.h"

#include "Support/TempTree.h"

#include "Tools/Delivery/Keys/Base64.h"

#include <openssl/evp.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
using Delivery::PublicKey;
using Delivery::SecretKey;

const std::string SignedContent = "what is signed\n";

std::string NoPassword()
{
    ADD_FAILURE() << "a password was asked for";
    return "";
}

/// Debian's own program beside ours.
class SignatureTest : public testing::Test
{
protected:
    SignatureTest()
    {
        EXPECT_TRUE(Minisign("-G -W -p one.pub -s one.key"));
        EXPECT_TRUE(Minisign("-G -W -p two.pub -s two.key"));
        mTree.Write("content", SignedContent);
    }

    bool Minisign(const std::string &arguments) const
    {
        const std::string command =
            "cd '" + mTree.Root() + "' && " + KELD_MINISIGN + " " + arguments + " >/dev/null 2>&1 </dev/null";
        return std::system(command.c_str()) == 0;
    }

    PublicKey Public(const std::string &name) const
    {
        const auto key = PublicKey::Load(name, mTree.Root());
        EXPECT_TRUE(key) << key.GetFault().GetMessage();
        return key ? *key : PublicKey();
    }

    SecretKey Secret(const std::string &name) const
    {
        auto key = SecretKey::Load(mTree.Path(name), NoPassword);
        EXPECT_TRUE(key) << key.GetFault().GetMessage();
        return std::move(*key);
    }

    std::string Verdict(const std::string &content, const std::string &signature) const
    {
        const auto comment = Public("one.pub").Check(content, signature, "the signature");
        return comment ? "good: " + *comment : comment.GetFault().GetMessage();
    }

    TempTree mTree;
};

TEST_F(SignatureTest, WhatIsSignedHereMinisignTakes)
{
    mTree.Write("content.minisig", Secret("one.key").Sign(SignedContent, "timestamp:1\tfile:content"));
    EXPECT_TRUE(Minisign("-V -p one.pub -m content"));
    EXPECT_TRUE(Minisign("-V -H -p one.pub -m content"));
    EXPECT_FALSE(Minisign("-V -p two.pub -m content"));
    mTree.Write("content", SignedContent + "x");
    EXPECT_FALSE(Minisign("-V -p one.pub -m content"));
}

TEST_F(SignatureTest, WhatMinisignSignsIsTakenHereInBothForms)
{
    ASSERT_TRUE(Minisign("-S -W -s one.key -m content -t 'said so'"));
    EXPECT_EQ(Verdict(SignedContent, mTree.Read("content.minisig")), "good: said so");
    ASSERT_TRUE(Minisign("-S -l -W -s one.key -m content -t 'said so before'"));
    EXPECT_EQ(Verdict(SignedContent, mTree.Read("content.minisig")), "good: said so before");
}

TEST_F(SignatureTest, AnyChangedByteIsRefused)
{
    const std::string signature = Secret("one.key").Sign(SignedContent, "a comment");
    EXPECT_EQ(Verdict(SignedContent, signature), "good: a comment");
    EXPECT_EQ(Verdict(SignedContent + "x", signature),
              "the signature: does not fit what it is said to be over: one of both was changed");
    EXPECT_EQ(Verdict("", ""), "the signature: is no signature of minisign");
    const std::size_t begin = signature.find('\n'); // what stands before is vouched for by nobody
    for (std::size_t index = begin; index < signature.size(); ++index)
    {
        std::string changed = signature;
        changed[index] ^= 1;
        EXPECT_EQ(Verdict(SignedContent, changed).find("good"), std::string::npos) << index;
        EXPECT_EQ(Verdict(SignedContent, signature.substr(0, index)).find("good") == 0, index + 1 == signature.size())
            << index;
    }
    const std::size_t comment = signature.find("a comment");
    EXPECT_EQ(Verdict(SignedContent, std::string(signature).replace(comment, 1, "A")),
              "the signature: has a comment that was not signed");
}

TEST_F(SignatureTest, AnotherKeyIsNamed)
{
    const std::string one = Delivery::FormatIdentity(Public("one.pub").GetIdentity());
    const std::string two = Delivery::FormatIdentity(Public("two.pub").GetIdentity());
    EXPECT_NE(mTree.Read("one.pub").find(one), std::string::npos);
    EXPECT_EQ(Verdict(SignedContent, Secret("two.key").Sign(SignedContent, "")),
              "the signature: was made with key " + two + ", not with " + one);
}

TEST_F(SignatureTest, AKeyMayBeNamedByItsOwnText)
{
    const std::string file = mTree.Read("one.pub");
    const std::string text = file.substr(file.find('\n') + 1, 56);
    const auto key = PublicKey::Load(text, mTree.Root());
    ASSERT_TRUE(key) << key.GetFault().GetMessage();
    EXPECT_EQ(key->GetIdentity(), Public("one.pub").GetIdentity());
}

TEST_F(SignatureTest, WhatIsNoKeyIsRefused)
{
    const auto expect = [](const std::string &text, const std::string &reason)
    {
        const auto secret = SecretKey::Parse(text, "key", NoPassword);
        ASSERT_FALSE(secret);
        EXPECT_EQ(secret.GetFault().GetMessage(), "key: " + reason);
        const auto known = PublicKey::Parse(text, "key");
        ASSERT_FALSE(known);
        EXPECT_EQ(known.GetFault().GetMessage(), "key: is no public key of minisign");
    };
    expect("", "is no secret key of minisign");
    expect(mTree.Read("content"), "is no secret key of minisign");
    const std::string text = mTree.Read("one.key");
    std::string bytes;
    ASSERT_TRUE(Delivery::DecodeBase64(text.substr(text.find('\n') + 1, 212), bytes));
    bytes[70] ^= 2; // within the seed
    expect(Delivery::EncodeBase64(bytes), "is damaged: its halves do not fit");
    EXPECT_FALSE(PublicKey::Load("missing", mTree.Root()));
    EXPECT_FALSE(SecretKey::Load(mTree.Path("missing"), NoPassword));
}

/// A key file that a password protects, made from one that none does, at the smallest cost that minisign knows.
std::string Protect(const std::string &keyFile, const std::string &password)
{
    std::string bytes;
    const std::string line = keyFile.substr(keyFile.find('\n') + 1);
    EXPECT_TRUE(Delivery::DecodeBase64(line.substr(0, line.find('\n')), bytes));
    const std::string salt(32, 's');
    std::string stream(104, '\0');
    EXPECT_EQ(EVP_PBE_scrypt(password.data(), password.size(), reinterpret_cast<const unsigned char *>(salt.data()),
                             salt.size(), 16384, 8, 1, 64 << 20, reinterpret_cast<unsigned char *>(stream.data()),
                             stream.size()),
              1);
    for (std::size_t index = 0; index < stream.size(); ++index)
    {
        bytes[54 + index] = static_cast<char>(bytes[54 + index] ^ stream[index]);
    }
    const std::string limits("\0\0\x08\0\0\0\0\0\0\0\0\x01\0\0\0\0", 16); // 524288 operations, 16 MiB
    return "untrusted comment: protected\n" + Delivery::EncodeBase64("EdScB2" + salt + limits + bytes.substr(54)) +
           "\n";
}

TEST_F(SignatureTest, AProtectedKeyOpensByItsPasswordAlone)
{
    const std::string text = Protect(mTree.Read("one.key"), "open sesame");
    auto key = SecretKey::Parse(text, "key",
                                []
                                {
                                    return std::string("open sesame");
                                });
    ASSERT_TRUE(key) << key.GetFault().GetMessage();
    EXPECT_EQ(Verdict(SignedContent, key->Sign(SignedContent, "it opened")), "good: it opened");
    const auto wrong = SecretKey::Parse(text, "key",
                                        []
                                        {
                                            return std::string("open wheat");
                                        });
    ASSERT_FALSE(wrong);
    EXPECT_EQ(wrong.GetFault().GetMessage(), "key: wrong password");
}

TEST_F(SignatureTest, AKeyThatWouldTakeAllMemoryIsRefusedBeforeThePasswordIsAskedFor)
{
    std::string bytes;
    const std::string text = Protect(mTree.Read("one.key"), "x");
    ASSERT_TRUE(Delivery::DecodeBase64(text.substr(text.find('\n') + 1, 212), bytes));
    for (std::size_t index = 38; index < 54; ++index)
    {
        bytes[index] = '\x7F';
    }
    const auto key = SecretKey::Parse(Delivery::EncodeBase64(bytes), "key", NoPassword);
    ASSERT_FALSE(key);
    EXPECT_EQ(key.GetFault().GetMessage(), "key: asks for more work than any key needs: is it damaged?");
}
} // namespace
} // namespace Keld::Test
