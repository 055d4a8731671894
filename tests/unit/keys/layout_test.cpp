// The order of members and virtual functions is part of the interface: programs are linked against it.
#include "sealkit/keys.h"
#include "sealkit/pkcs8.h"

#include "unit/keys/support.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace TEST_FILE {

/// The index in the virtual table of what a pointer to a virtual member function calls (Itanium C++ ABI,
/// section 2.3: one more than the offset in the table, which begins with the two destructors).
template <typename Function>
ptrdiff_t slot(Function function) {
    ptrdiff_t words[2];
    static_assert(sizeof(function) == sizeof(words));
    std::memcpy(words, &function, sizeof(words));
    EXPECT_EQ(words[0] & 1, 1) << "not virtual";
    return (words[0] - 1) / static_cast<ptrdiff_t>(sizeof(void*));
}

template <typename Object, typename Member>
ptrdiff_t offset(Object const& object, Member const& member) {
    return reinterpret_cast<char const*>(&member) - reinterpret_cast<char const*>(&object);
}

constexpr ptrdiff_t word = sizeof(void*);

template <typename K>
void expectPublicSlots() {
    EXPECT_TRUE(std::has_virtual_destructor_v<K>);
    EXPECT_EQ(slot(&K::parseFromDerEncoded), 2);
    EXPECT_EQ(slot(&K::encodeToDerEncoded), 3);
    EXPECT_EQ(slot(&K::algorithmParams), 4);
    EXPECT_EQ(slot(&K::equals), 5);
    EXPECT_EQ(slot(&K::keyType), 6);
    EXPECT_EQ(slot(&K::dump), 7);
}

TEST(KeyLayout, VirtualFunctionsStandInTheirSlots) {
    expectPublicSlots<PublicKey>();
    expectPublicSlots<RsaPublicKey>();
    expectPublicSlots<EcPublicKey>();
    expectPublicSlots<Ed25519PublicKey>();
    expectPublicSlots<X25519PublicKey>();
    EXPECT_EQ(slot(&PrivateKey::dump), 7);
    EXPECT_EQ(slot(&PrivateKey::publicKey), 8);
}

TEST(KeyLayout, TheTableBeginsWithTheDestructors) {
    // What stands in slot 6 of an object's table is its keyType.
    RsaPublicKey const key;
    void const* const* table;
    std::memcpy(&table, static_cast<void const*>(&key), sizeof(table));
    KeyType (RsaPublicKey::*const function)() const = &RsaPublicKey::keyType;
    ASSERT_EQ(slot(function), 6);
    KeyType (*code)(PublicKey const*);
    std::memcpy(&code, &table[6], sizeof(code));
    EXPECT_EQ(code(&key), KeyType::RSA);
    for (unsigned i = 0; i < 8; ++i)
        EXPECT_NE(table[i], nullptr) << i;
}

TEST(KeyLayout, BasesAreVirtualAndAbstract) {
    EXPECT_TRUE(std::is_abstract_v<PublicKey>);
    EXPECT_TRUE(std::is_abstract_v<PrivateKey>);
    EXPECT_EQ(sizeof(PublicKey), sizeof(void*));
    EXPECT_EQ(sizeof(PrivateKey), sizeof(void*));
    EXPECT_TRUE((std::is_convertible_v<RsaPrivateKey*, RsaPublicKey*>));
    EXPECT_TRUE((std::is_convertible_v<RsaPrivateKey*, PrivateKey*>));
    // One PublicKey, reached on two ways: the conversion would be ambiguous otherwise.
    EXPECT_TRUE((std::is_convertible_v<RsaPrivateKey*, PublicKey*>));
    EXPECT_TRUE((std::is_convertible_v<EcPrivateKey*, PublicKey*>));
    EXPECT_TRUE((std::is_convertible_v<Ed25519PrivateKey*, PublicKey*>));
    EXPECT_TRUE((std::is_convertible_v<X25519PrivateKey*, PublicKey*>));
}

TEST(KeyLayout, RsaMembersStandInOrder) {
    RsaPublicKey const pub;
    EXPECT_EQ(offset(pub, pub.n), word);
    EXPECT_EQ(offset(pub, pub.e), word + ptrdiff_t(sizeof(BigNum)));
    RsaPrivateKey const key;
    EXPECT_EQ(offset(key, key.n), word);
    EXPECT_EQ(offset(key, key.e), word + ptrdiff_t(sizeof(BigNum)));
    ptrdiff_t const secrets = word + 2 * ptrdiff_t(sizeof(BigNum)) + word; // behind PrivateKey
    BigNum const* const members[] = {&key.d, &key.p, &key.q, &key.exp1, &key.exp2, &key.coeff};
    for (unsigned i = 0; i < 6; ++i)
        EXPECT_EQ(offset(key, *members[i]), secrets + ptrdiff_t(i * sizeof(BigNum))) << i;
}

TEST(KeyLayout, EcMembersStandInOrder) {
    EcPublicKey const pub;
    EXPECT_EQ(offset(pub, pub.curve), word);
    EXPECT_EQ(offset(pub, pub.point), 2 * word);
    EXPECT_EQ(offset(pub.point, pub.point.x), 0);
    EXPECT_EQ(offset(pub.point, pub.point.y), ptrdiff_t(sizeof(BigNum)));
    EcPrivateKey const key;
    EXPECT_EQ(offset(key, key.curve), word);
    EXPECT_EQ(offset(key, key.point), 2 * word);
    EXPECT_EQ(offset(key, key.secret), 2 * word + ptrdiff_t(sizeof(ECPoint)) + word);
}

template <typename Public, typename Private>
void expectCurve25519Members() {
    Public const pub;
    EXPECT_EQ(offset(pub, pub.pub), word);
    Private const key;
    EXPECT_EQ(offset(key, key.pub), word);
    EXPECT_EQ(offset(key, key.secret), word + ptrdiff_t(sizeof(key.pub)) + word);
}

TEST(KeyLayout, Curve25519MembersStandInOrder) {
    expectCurve25519Members<Ed25519PublicKey, Ed25519PrivateKey>();
    expectCurve25519Members<X25519PublicKey, X25519PrivateKey>();
}

template <typename Public, typename Private>
void expectCasts() {
    Private key;
    PublicKey const& abstractKey = key;
    PrivateKey const& abstractPrivate = key;
    // The abstract and the public class stand at the beginning of the private one.
    EXPECT_EQ(offset(key, abstractKey), 0);
    EXPECT_EQ(offset(key, static_cast<Public const&>(key)), 0);
    EXPECT_EQ(dynamic_cast<Public const*>(&abstractKey), &key);
    EXPECT_EQ(dynamic_cast<Public const*>(&abstractPrivate), &key);
    EXPECT_EQ(dynamic_cast<Private const*>(&abstractPrivate), &key);
    Public const pub;
    EXPECT_EQ(dynamic_cast<Public const*>(static_cast<PublicKey const*>(&pub)), &pub);
    EXPECT_EQ(offset(pub, static_cast<PublicKey const&>(pub)), 0);
}

TEST(KeyCast, FindsTheClass) {
    expectCasts<RsaPublicKey, RsaPrivateKey>();
    expectCasts<EcPublicKey, EcPrivateKey>();
    expectCasts<Ed25519PublicKey, Ed25519PrivateKey>();
    expectCasts<X25519PublicKey, X25519PrivateKey>();
}

TEST(KeyCast, GivesNothingForAnotherType) {
    RsaPrivateKey const rsa;
    EcPrivateKey const ec;
    Ed25519PrivateKey const ed;
    X25519PrivateKey const x;
    PrivateKey const* const keys[] = {&rsa, &ec, &ed, &x};
    for (unsigned i = 0; i < 4; ++i) {
        EXPECT_EQ(dynamic_cast<RsaPublicKey const*>(keys[i]) != nullptr, i == 0);
        EXPECT_EQ(dynamic_cast<EcPublicKey const*>(keys[i]) != nullptr, i == 1);
        EXPECT_EQ(dynamic_cast<Ed25519PublicKey const*>(keys[i]) != nullptr, i == 2);
        EXPECT_EQ(dynamic_cast<X25519PublicKey const*>(keys[i]) != nullptr, i == 3);
        EXPECT_EQ(dynamic_cast<RsaPrivateKey const*>(keys[i]) != nullptr, i == 0);
        EXPECT_EQ(dynamic_cast<EcPrivateKey const*>(keys[i]) != nullptr, i == 1);
        EXPECT_EQ(dynamic_cast<Ed25519PrivateKey const*>(keys[i]) != nullptr, i == 2);
        EXPECT_EQ(dynamic_cast<X25519PrivateKey const*>(keys[i]) != nullptr, i == 3);
    }
}

TEST(Keys, HaveTheirType) {
    EXPECT_EQ(static_cast<unsigned>(RsaPrivateKey().keyType()), 0u);
    EXPECT_EQ(static_cast<unsigned>(EcPrivateKey().keyType()), 2u);
    EXPECT_EQ(static_cast<unsigned>(Ed25519PrivateKey().keyType()), 3u);
    EXPECT_EQ(static_cast<unsigned>(X25519PrivateKey().keyType()), 4u);
}

TEST(Keys, OfDifferentTypesAreNeverEqual) {
    Ed25519PublicKey ed;
    X25519PublicKey x;
    ed.pub = x.pub = std::vector<unsigned char>(32, 9);
    RsaPublicKey const rsa;
    EcPublicKey const ec;
    PublicKey const* const keys[] = {&ed, &x, &rsa, &ec};
    for (PublicKey const* a : keys)
        for (PublicKey const* b : keys)
            EXPECT_EQ(a->equals(*b), a == b);
}

TEST(Keys, AreComparedByEveryPublicMember) {
    RsaPrivateKey rsa, otherRsa;
    EXPECT_TRUE(rsa.equals(otherRsa));
    otherRsa.d = bn64(1);
    EXPECT_TRUE(rsa.equals(otherRsa));
    otherRsa.n = bn64(1);
    EXPECT_FALSE(rsa.equals(otherRsa));
    otherRsa = rsa;
    otherRsa.e = bn64(1);
    EXPECT_FALSE(rsa.equals(otherRsa));

    EcPublicKey ec, otherEc;
    EXPECT_TRUE(ec.equals(otherEc));
    otherEc.curve = Curve::p256;
    EXPECT_FALSE(ec.equals(otherEc));
    otherEc = ec;
    otherEc.point.x = bn64(1);
    EXPECT_FALSE(ec.equals(otherEc));
    otherEc = ec;
    otherEc.point.y = bn64(1);
    EXPECT_FALSE(ec.equals(otherEc));

    Ed25519PublicKey ed, otherEd;
    otherEd.pub = {1};
    EXPECT_FALSE(ed.equals(otherEd));
    X25519PublicKey x, otherX;
    otherX.pub = {1};
    EXPECT_FALSE(x.equals(otherX));
}

TEST(Keys, APrivateKeyEqualsThePublicKeyItGives) {
    RsaPrivateKey rsa;
    rsa.n = bn64(15);
    rsa.e = bn64(3);
    EcPrivateKey ec;
    ec.curve = Curve::p384;
    ec.point = {bn64(1), bn64(2)};
    Ed25519PrivateKey ed;
    ed.pub = {1, 2, 3};
    X25519PrivateKey x;
    x.pub = {4, 5, 6};
    for (PrivateKey const* key : std::initializer_list<PrivateKey const*>{&rsa, &ec, &ed, &x}) {
        std::unique_ptr<PublicKey> const pub = key->publicKey();
        ASSERT_NE(pub, nullptr);
        EXPECT_NE(pub.get(), static_cast<PublicKey const*>(key));
        EXPECT_TRUE(pub->equals(*key));
        EXPECT_TRUE(key->equals(*pub));
        EXPECT_EQ(encodePkcs8PublicKey(*pub), encodePkcs8PublicKey(*key));
        EXPECT_NE(test::dumpOf(*pub).find("-PUBLIC]"), std::string::npos);
    }
}

TEST(Keys, EmptyOnesSurviveEveryOperation) {
    test::CapturedOutput const output;
    RsaPrivateKey rsa;
    EcPrivateKey ec;
    Ed25519PrivateKey ed;
    X25519PrivateKey x;
    for (PrivateKey* key : std::initializer_list<PrivateKey*>{&rsa, &ec, &ed, &x}) {
        EXPECT_FALSE(key->parseFromDerEncoded({}, {}));
        EXPECT_FALSE(
            key->parseFromDerEncoded(std::vector<unsigned char>{0x05}, std::vector<unsigned char>{0x30}));
        key->encodeToDerEncoded();
        key->algorithmParams();
        EXPECT_TRUE(key->equals(*key));
        EXPECT_FALSE(test::dumpOf(*key).empty());
        EXPECT_TRUE(key->publicKey()->equals(*key));
    }
}

} // namespace TEST_FILE
