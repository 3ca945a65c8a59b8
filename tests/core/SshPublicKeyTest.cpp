#include "CompanionCore/SshPublicKey.h"

#include "support/SampleKeys.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

using namespace CompanionCore;
namespace Keys = TestSupport::SampleKeys;

namespace {

struct Sample {
    const char* type;
    const std::string& blob;
    const std::string& fingerprint;
    /// What `ssh-keygen -l` prints before the fingerprint and, in brackets, after the comment.
    int bits;
    const char* label;
};

const std::vector<Sample> samples = {
    {"ssh-ed25519", Keys::ed25519, Keys::ed25519Fingerprint, 256, "ED25519"},
    {"ssh-rsa", Keys::rsa, Keys::rsaFingerprint, 2048, "RSA"},
    {"ecdsa-sha2-nistp256", Keys::ecdsa256, Keys::ecdsa256Fingerprint, 256, "ECDSA"},
    {"ecdsa-sha2-nistp384", Keys::ecdsa384, Keys::ecdsa384Fingerprint, 384, "ECDSA"},
    {"ecdsa-sha2-nistp521", Keys::ecdsa521, Keys::ecdsa521Fingerprint, 521, "ECDSA"},
    {"sk-ssh-ed25519@openssh.com", Keys::skEd25519, Keys::skEd25519Fingerprint, 256, "ED25519-SK"},
    {"sk-ecdsa-sha2-nistp256@openssh.com", Keys::skEcdsa256, Keys::skEcdsa256Fingerprint, 256, "ECDSA-SK"},
};

} // namespace

TEST(SshPublicKeyTest, AcceptsARealKeyOfEveryType) {
    for (const auto& sample : samples) {
        EXPECT_TRUE(SshPublicKey::isUsable(sample.type, sample.blob)) << sample.type;
    }
}

TEST(SshPublicKeyTest, FingerprintsAsSshKeygenDoes) {
    for (const auto& sample : samples) {
        EXPECT_EQ(SshPublicKey::fingerprint(sample.type, sample.blob), sample.fingerprint) << sample.type;
    }
}

TEST(SshPublicKeyTest, DescribesSizeAndTypeAsSshKeygenDoes) {
    for (const auto& sample : samples) {
        EXPECT_EQ(SshPublicKey::describe(sample.type, sample.blob),
                  (SshPublicKey::Description{sample.bits, sample.fingerprint, sample.label}))
            << sample.type;
    }
}

TEST(SshPublicKeyTest, DescribesNoKeyItWouldRefuse) {
    EXPECT_EQ(SshPublicKey::describe("ssh-ed25519", "AAAA"), std::nullopt);
    EXPECT_EQ(SshPublicKey::describe("ssh-rsa", Keys::ed25519), std::nullopt);
    EXPECT_EQ(SshPublicKey::describe("ssh-rsa", Keys::rsa512), std::nullopt);
}

TEST(SshPublicKeyTest, RefusesABlobThatHoldsNoKey) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-ed25519", "AAAA"));
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-ed25519", ""));
    EXPECT_EQ(SshPublicKey::fingerprint("ssh-ed25519", "AAAA"), std::nullopt);
}

TEST(SshPublicKeyTest, RefusesATruncatedBlob) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-ed25519", Keys::ed25519.substr(0, 40)));
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-rsa", Keys::rsa.substr(0, 200)));
}

TEST(SshPublicKeyTest, RefusesAKeyLabelledWithAnotherType) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-ed25519", Keys::rsa));
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-rsa", Keys::ed25519));
    EXPECT_FALSE(SshPublicKey::isUsable("sk-ssh-ed25519@openssh.com", Keys::ed25519));
}

TEST(SshPublicKeyTest, RefusesAnEcdsaKeyLabelledWithAnotherCurve) {
    EXPECT_FALSE(SshPublicKey::isUsable("ecdsa-sha2-nistp384", Keys::ecdsa256));
    EXPECT_FALSE(SshPublicKey::isUsable("ecdsa-sha2-nistp256", Keys::ecdsa521));
}

TEST(SshPublicKeyTest, RefusesBytesLeftOverAfterTheKey) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-ed25519", Keys::ed25519WithTrailingBytes));
}

TEST(SshPublicKeyTest, RefusesAnRsaModulusTheServerWouldRefuse) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-rsa", Keys::rsa512));
}

TEST(SshPublicKeyTest, RefusesTypesTheServerDoesNotTakeAsAPlainKey) {
    EXPECT_FALSE(SshPublicKey::isUsable("ssh-dss", Keys::ed25519));
    EXPECT_FALSE(SshPublicKey::isUsable("nonsense", Keys::ed25519));
}
