#include "sealkit/path.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace TEST_FILE {

/// Slots of an object's virtual table, counted from its first function pointer (Itanium C++ ABI,
/// section 2.5; the 32-bit PowerPC ABI has plain function pointers there too).
void* slot(void const* object, size_t index) { return (*static_cast<void* const* const*>(object))[index]; }

class CountingStore : public CertificateStore {
public:
    ~CountingStore() override { ++*destroyed; }
    std::shared_ptr<X509Certificate> findCertificate(DistinguishedName const&, asn1::blob) const override {
        ++certificateLookups;
        return nullptr;
    }
    std::shared_ptr<X509Crl> findCrl(X509Certificate const&) const override {
        ++crlLookups;
        return nullptr;
    }

    int* destroyed = nullptr;
    mutable int certificateLookups = 0;
    mutable int crlLookups = 0;
};

TEST(StoreAbi, DestructorsStandInTheFirstTwoSlots) {
    int destroyed = 0;
    alignas(CountingStore) unsigned char memory[sizeof(CountingStore)];
    auto* store = new (memory) CountingStore;
    store->destroyed = &destroyed;
    reinterpret_cast<void (*)(CountingStore*)>(slot(store, 0))(store);
    EXPECT_EQ(destroyed, 1);

    auto* onHeap = new CountingStore;
    onHeap->destroyed = &destroyed;
    reinterpret_cast<void (*)(CountingStore*)>(slot(onHeap, 1))(onHeap);
    EXPECT_EQ(destroyed, 2);
}

TEST(StoreAbi, FindCertificateStandsInSlotThreeAndFindCrlInSlotFour) {
    int destroyed = 0;
    CountingStore store;
    store.destroyed = &destroyed;
    using FindCertificate =
        std::shared_ptr<X509Certificate> (*)(CountingStore const*, DistinguishedName const&, asn1::blob);
    using FindCrl = std::shared_ptr<X509Crl> (*)(CountingStore const*, X509Certificate const&);
    // A class returned in memory goes through a hidden first argument; a function type with the same
    // result has it as well, ahead of the object.
    EXPECT_EQ(reinterpret_cast<FindCertificate>(slot(&store, 2))(&store, {}, {}), nullptr);
    EXPECT_EQ(store.certificateLookups, 1);
    EXPECT_EQ(reinterpret_cast<FindCrl>(slot(&store, 3))(&store, X509Certificate()), nullptr);
    EXPECT_EQ(store.crlLookups, 1);
}

TEST(StoreAbi, MemoryStoreHoldsCertificatesAndThenCrlsBehindItsTable) {
    CertificateMemoryStore const store;
    auto offset = [&](void const* member) {
        return reinterpret_cast<std::uintptr_t>(member) - reinterpret_cast<std::uintptr_t>(&store);
    };
    EXPECT_EQ(offset(&store.certs), sizeof(void*));
    EXPECT_EQ(offset(&store.crls), sizeof(void*) + sizeof(store.certs));
    EXPECT_EQ(sizeof(store), sizeof(void*) + sizeof(store.certs) + sizeof(store.crls));
}

TEST(PathAbi, TheResultCodeIsTheFirstFieldAndHasThirtyTwoBits) {
    PathRes result;
    EXPECT_EQ(static_cast<void*>(&result), static_cast<void*>(&result.code));
    EXPECT_EQ(sizeof(result.code), 4u);
}

} // namespace TEST_FILE
