#include "chains.h"
#include "kp/cloud.h"
#include "kp/root.h"
#include "kp/store.h"
#include "sealkit/cerm.h"
#include "support/captured_output.h"
#include "support/temporary_root.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <set>

namespace TEST_FILE {

namespace fs = std::filesystem;

constexpr unsigned someUse = 0x10;
constexpr unsigned useOutsideTheDefault = 0x01;
constexpr unsigned allBits = 0xffffffff;

/// A platform root of its own for each test, filled through the platform's own stores.
class LoadFromCerm : public test::PlatformRootTest {
protected:
    LoadFromCerm() {
        put("kelp/etc/ca/built-in.pem", test::readStoryFile("names-do-not-link/store.pem"));
        for (auto const& certificate : test::readChain("p256-chain/chain.pem"))
            ders[certificate->subject.commonName] = certificate->serialize();
    }

    void put(std::string const& name, std::string const& content) const { root.write(name, content); }

    /// A trusted entry with that certificate in raw 11.
    kp::message entry(std::string const& certificate) const {
        kp::message record;
        record.setBool(12, true);
        record.setRaw(11, ders.at(certificate));
        return record;
    }

    static void putEntry(int32_t id, kp::message const& record) {
        ASSERT_TRUE(kp::Store("cerm").put(id, record));
    }
    static void putSettings(kp::message const& record) {
        ASSERT_TRUE(kp::Store("cert/settings").put(0, record));
    }

    static std::string load(unsigned usage, bool all = false) {
        CertificateMemoryStore store;
        EXPECT_TRUE(store.loadFromCerm(usage, all));
        std::string names;
        for (auto const& certificate : store.certs)
            names += certificate->subject.commonName + " ";
        for (auto const& crl : store.crls)
            names += "crl:" + crl->issuer.commonName + " ";
        return names;
    }

    /// Whether the built-in folder is loaded for a use.
    static bool trustsBuiltIn(unsigned usage) { return load(usage).find("Renamed") != std::string::npos; }

    static void expectDefaultTrust() {
        std::set<unsigned> const trusted = {4, 7, 8, 9, 11, 13, 17, 18, 20, 21, 23};
        for (unsigned bit = 0; bit < 32; ++bit)
            EXPECT_EQ(trustsBuiltIn(1u << bit), trusted.contains(bit)) << bit;
    }

    /// Makes settings of one number.
    static void putNumber(uint32_t field, uint32_t value) {
        kp::message settings;
        settings.setU32(field, value);
        putSettings(settings);
    }

    std::map<std::string, std::vector<unsigned char>> ders;
};

// The built-in folder.

TEST_F(LoadFromCerm, WithoutSettingsTheDefaultUsesTrustTheBuiltInFolder) { expectDefaultTrust(); }

TEST_F(LoadFromCerm, AnyCommonBitIsEnough) { EXPECT_TRUE(trustsBuiltIn(useOutsideTheDefault | someUse)); }

TEST_F(LoadFromCerm, NoUseLoadsNothing) { EXPECT_EQ(load(0), ""); }

TEST_F(LoadFromCerm, FieldSevenIsTheTrustMask) {
    kp::message settings;
    settings.setU32(7, useOutsideTheDefault);
    settings.setU32(5, someUse);
    putSettings(settings);
    EXPECT_TRUE(trustsBuiltIn(useOutsideTheDefault));
    EXPECT_FALSE(trustsBuiltIn(someUse)) << "field 5 is not looked at";
}

TEST_F(LoadFromCerm, FieldSevenOfAllUsesMeansTheDefault) {
    putNumber(7, 0x7fffffff);
    expectDefaultTrust();
}

TEST_F(LoadFromCerm, FieldSevenIsNotUpgradedLikeFieldFive) {
    putNumber(7, 0x00022b90);
    EXPECT_TRUE(trustsBuiltIn(1u << 17));
    EXPECT_FALSE(trustsBuiltIn(1u << 18));
}

TEST_F(LoadFromCerm, FieldSevenOfZeroLeavesBitTwentyThree) {
    putNumber(7, 0);
    EXPECT_FALSE(trustsBuiltIn(someUse));
    EXPECT_FALSE(trustsBuiltIn(allBits & ~0x00800000u));
    EXPECT_TRUE(trustsBuiltIn(0x00800000));
}

TEST_F(LoadFromCerm, FieldFiveIsTheTrustMaskWhereSevenIsAbsent) {
    putNumber(5, useOutsideTheDefault);
    EXPECT_TRUE(trustsBuiltIn(useOutsideTheDefault));
    EXPECT_FALSE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromCerm, FieldFiveOfTheOlderDefaultIsUpgraded) {
    putNumber(5, 0x00022b90);
    EXPECT_TRUE(trustsBuiltIn(1u << 18));
    EXPECT_TRUE(trustsBuiltIn(1u << 21));
}

TEST_F(LoadFromCerm, FieldFiveIsNotReadLikeFieldSeven) {
    putNumber(5, 0x7fffffff);
    EXPECT_TRUE(trustsBuiltIn(useOutsideTheDefault));
}

TEST_F(LoadFromCerm, FieldsOfOtherTypesAreNoMasks) {
    kp::message settings;
    settings.setString(7, "x");
    settings.setBool(5, true);
    settings.setBool(4, false);
    settings.setU32(0xfe0012, 1);
    putSettings(settings);
    EXPECT_FALSE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromCerm, AVersionedRecordTrustsByItsFlag) {
    kp::message settings;
    settings.setU32(0xfe0012, 1);
    putSettings(settings);
    EXPECT_TRUE(trustsBuiltIn(someUse)) << "true is the flag's default";
    settings.setBool(4, true);
    putSettings(settings);
    EXPECT_TRUE(trustsBuiltIn(someUse));
    settings.setBool(4, false);
    putSettings(settings);
    EXPECT_FALSE(trustsBuiltIn(someUse));
    EXPECT_TRUE(trustsBuiltIn(0x00800000));
}

/// Settings that leave the decision to the state of the store of entries.
class LoadFromOldCerm : public LoadFromCerm {
protected:
    LoadFromOldCerm() {
        kp::message settings;
        settings.setBool(4, false);
        putSettings(settings);
    }

    static void setCount(uint32_t count) { ASSERT_TRUE(kp::Store("cerm").setState(~count)); }

    /// An entry for the cloud scan.
    static void putNamed(int32_t id, std::string_view name, std::string_view dnsName) {
        kp::message record;
        record.setString(0xfe0010, name);
        record.setString(113, dnsName);
        putEntry(id, record);
    }
    static std::string cloudName(size_t which) {
        return "router." + std::string(kp::cloudDnsSuffixes()[which]);
    }
};

TEST_F(LoadFromOldCerm, CountOfAtMostOneTrusts) {
    setCount(0);
    EXPECT_TRUE(trustsBuiltIn(someUse));
    setCount(1);
    EXPECT_TRUE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromOldCerm, CountAboveFourDoesNotTrust) {
    putNamed(1, "Lets encrypt", cloudName(0));
    for (uint32_t count : {5u, 6u, 0x80000000u, 0xffffffffu}) {
        setCount(count);
        EXPECT_FALSE(trustsBuiltIn(someUse)) << count;
    }
}

TEST_F(LoadFromOldCerm, CountsFromTwoToFourScanTheEntries) {
    putNamed(1, "Lets encrypt 2024", cloudName(0));
    for (uint32_t count : {2u, 3u, 4u}) {
        setCount(count);
        EXPECT_TRUE(trustsBuiltIn(someUse)) << count;
    }
    putNamed(1, "My own", cloudName(0));
    for (uint32_t count : {2u, 3u, 4u}) {
        setCount(count);
        EXPECT_FALSE(trustsBuiltIn(someUse)) << count;
    }
}

TEST_F(LoadFromOldCerm, ScanTakesEitherSuffix) {
    setCount(2);
    for (size_t which : {0u, 1u}) {
        putNamed(1, "Lets encrypt", cloudName(which));
        EXPECT_TRUE(trustsBuiltIn(someUse)) << which;
    }
    putNamed(1, "Lets encrypt", cloudName(0) + ".test");
    EXPECT_FALSE(trustsBuiltIn(someUse)) << "an end, not a part";
    putNamed(1, "Lets encrypt", kp::cloudDnsSuffixes()[0]);
    EXPECT_TRUE(trustsBuiltIn(someUse)) << "the suffix alone ends with it";
}

TEST_F(LoadFromOldCerm, ScanWantsOneEntryOfTheCloudAmongThem) {
    setCount(3);
    putNamed(1, "Lets encrypt", "a.test");
    putNamed(2, "Lets encrypt", "b.test");
    EXPECT_FALSE(trustsBuiltIn(someUse));
    putNamed(3, "Lets encrypt", cloudName(1));
    EXPECT_TRUE(trustsBuiltIn(someUse));
    putNamed(4, "Lets encrypt", "c.test");
    EXPECT_TRUE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromOldCerm, ScanStopsAtAnEntryOfAnotherName) {
    setCount(3);
    putNamed(1, "Lets encrypt", cloudName(0));
    putNamed(2, "lets encrypt", cloudName(0));
    EXPECT_FALSE(trustsBuiltIn(someUse));
    putNamed(2, "A Lets encrypt", cloudName(0));
    EXPECT_FALSE(trustsBuiltIn(someUse));
    putEntry(2, kp::message());
    EXPECT_FALSE(trustsBuiltIn(someUse)) << "an entry without a name";
}

TEST_F(LoadFromOldCerm, ScanSkipsTwoIds) {
    setCount(3);
    putNamed(0, "Other", "");
    putNamed(-5, "Other", "");
    putNamed(1, "Lets encrypt", cloudName(0));
    EXPECT_TRUE(trustsBuiltIn(someUse));
    putNamed(-4, "Other", "");
    EXPECT_FALSE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromOldCerm, ScanOfNothingDoesNotTrust) {
    setCount(2);
    EXPECT_FALSE(trustsBuiltIn(someUse));
    putNamed(0, "Lets encrypt", cloudName(0));
    putNamed(-5, "Lets encrypt", cloudName(0));
    EXPECT_FALSE(trustsBuiltIn(someUse)) << "what is skipped is not of the cloud either";
}

TEST_F(LoadFromOldCerm, AStateThatWasNeverSetCountsNothing) { EXPECT_TRUE(trustsBuiltIn(someUse)); }

TEST_F(LoadFromOldCerm, AVersionWordOfZeroIsNone) {
    kp::message settings;
    settings.setBool(4, true);
    settings.setU32(0xfe0012, 0);
    putSettings(settings);
    setCount(5);
    EXPECT_FALSE(trustsBuiltIn(someUse));
}

TEST_F(LoadFromCerm, BuiltInFolderHasNoCrls) {
    put("kelp/etc/ca/list.crl", test::readStoryFile("revoked/crls.pem"));
    EXPECT_EQ(load(someUse), "Renamed ");
}

TEST_F(LoadFromCerm, MissingBuiltInFolderIsNoFailure) {
    fs::remove_all(root.path("kelp"));
    putEntry(1, entry("Root"));
    test::CapturedOutput output;
    EXPECT_EQ(load(someUse), "Root ");
    EXPECT_TRUE(output.text().starts_with("[ERR] opendir: ")) << output.text();
}

// Entries.

TEST_F(LoadFromCerm, EntriesComeAfterTheBuiltInFolderInTheOrderOfTheirIds) {
    putEntry(7, entry("Leaf"));
    putEntry(-3, entry("Root"));
    putEntry(2, entry("Intermediate"));
    EXPECT_EQ(load(someUse), "Renamed Root Intermediate Leaf ");
}

TEST_F(LoadFromCerm, IdZeroIsNoEntryAndMinusFiveIsOne) {
    putEntry(0, entry("Root"));
    putEntry(-5, entry("Leaf"));
    EXPECT_EQ(load(useOutsideTheDefault), "Leaf ");
}

TEST_F(LoadFromCerm, OnlyTrustedEntriesCount) {
    kp::message record = entry("Root");
    record.setBool(12, false);
    putEntry(1, record);
    record.remove(kp::FieldType::boolean, 12);
    putEntry(2, record);
    EXPECT_EQ(load(useOutsideTheDefault), "");
    EXPECT_EQ(load(0, true), "Renamed ");
}

TEST_F(LoadFromCerm, UseMaskOfAnEntryMustMeetTheUse) {
    kp::message record = entry("Root");
    record.setU32(45, 0x06);
    putEntry(1, record);
    EXPECT_EQ(load(0x01), "");
    EXPECT_EQ(load(0x02), "Root ");
    EXPECT_EQ(load(0x05), "Root ");
    record.setU32(45, 0);
    putEntry(1, record);
    EXPECT_EQ(load(0x02), "");
}

TEST_F(LoadFromCerm, EntryWithoutUseMaskIsForEveryUse) {
    putEntry(1, entry("Root"));
    EXPECT_EQ(load(0x80000000), "Root ");
    EXPECT_EQ(load(0), "") << "no use at all meets no mask";
}

TEST_F(LoadFromCerm, RawOneHundredTwentyNineGoesBeforeRawEleven) {
    kp::message record = entry("Root");
    record.setRaw(129, ders["Leaf"]);
    putEntry(1, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Leaf ");
    record.setU32(135, 1);
    putEntry(1, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Leaf ");
}

TEST_F(LoadFromCerm, StateTwoOfRawOneHundredTwentyNineSkipsTheEntry) {
    kp::message record = entry("Root");
    record.setRaw(129, ders["Leaf"]);
    record.setU32(135, 2);
    putEntry(1, record);
    EXPECT_EQ(load(useOutsideTheDefault), "");
}

TEST_F(LoadFromCerm, StateTwoSaysNothingAboutRawEleven) {
    kp::message record = entry("Root");
    record.setU32(135, 2);
    putEntry(1, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
}

TEST_F(LoadFromCerm, EntryWithoutCertificateIsSkipped) {
    kp::message record;
    record.setBool(12, true);
    putEntry(1, record);
    putEntry(2, entry("Root"));
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
}

TEST_F(LoadFromCerm, EntryThatDoesNotParseIsSkipped) {
    kp::message record = entry("Root");
    std::vector<unsigned char> der = ders["Root"];
    der.pop_back();
    record.setRaw(11, der);
    putEntry(1, record);
    record.setRaw(11, test::bytes(test::readStoryFile("revoked/store.pem"))); // PEM is not DER
    putEntry(2, record);
    record.setRaw(11, {});
    putEntry(3, record);
    record.setRaw(129, {});
    record.setRaw(11, ders["Root"]);
    putEntry(4, record);
    EXPECT_EQ(load(useOutsideTheDefault), "");
}

TEST_F(LoadFromCerm, UnreadableRecordIsSkipped) {
    putEntry(2, entry("Root"));
    put("rw/store/cerm/1.rec", "garbage");
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
}

// CRLs.

class LoadCrlsFromCerm : public LoadFromCerm {
protected:
    std::string const ofRoot = test::readStoryFile("revoked/crls.pem");
    std::string const ofIntermediate = test::readStoryFile("revoked-intermediate/crls.pem");

    static void putCrlRecord(int32_t id, kp::message const& record = {}) {
        ASSERT_TRUE(kp::Store("cert/crl").put(id, record));
    }

    /// An entry whose CRL the certificate manager fetches.
    kp::message fetchingEntry(std::string const& certificate) const {
        kp::message record = entry(certificate);
        record.setU32(123, 0x40);
        record.setRaw(143, {});
        record.setStrings(32, {});
        return record;
    }
};

TEST_F(LoadCrlsFromCerm, ListsOfTheCrlStoreAreOnDisk) {
    putCrlRecord(1);
    putCrlRecord(20);
    put("rw/cm/crl/1", ofRoot);
    put("rw/cm/crl/20", ofIntermediate);
    put("ram/crl/1", ofIntermediate);
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Root crl:Intermediate ");
}

TEST_F(LoadCrlsFromCerm, SettingThreeKeepsThemInMemory) {
    putCrlRecord(1);
    put("rw/cm/crl/1", ofRoot);
    put("ram/crl/1", ofIntermediate);
    putNumber(3, 0);
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Root ");
    putNumber(3, 2);
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Intermediate ");
}

TEST_F(LoadCrlsFromCerm, UseMaskOfAListMustMeetTheUse) {
    kp::message record;
    record.setU32(12, 0x06);
    putCrlRecord(1, record);
    put("rw/cm/crl/1", ofRoot);
    EXPECT_EQ(load(0x01), "");
    EXPECT_EQ(load(0x02), "crl:Root ");
}

TEST_F(LoadCrlsFromCerm, EveryIdIsAList) {
    putCrlRecord(0);
    putCrlRecord(-7);
    put("rw/cm/crl/0", ofRoot);
    put("rw/cm/crl/-7", ofIntermediate);
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Intermediate crl:Root ");
}

TEST_F(LoadCrlsFromCerm, MissingAndMalformedListsAreSkipped) {
    putCrlRecord(1);
    putCrlRecord(2);
    putCrlRecord(3);
    putCrlRecord(4);
    put("rw/cm/crl/2", "garbage");
    put("rw/cm/crl/3", test::readStoryFile("revoked/store.pem"));
    put("rw/cm/crl/4", ofRoot);
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Root ");
}

TEST_F(LoadCrlsFromCerm, ListMayBeInDer) {
    auto const crl = readCrl(ofRoot);
    ASSERT_TRUE(crl);
    auto const der = crl->serialize();
    putCrlRecord(1);
    put("rw/cm/crl/1", std::string(der.begin(), der.end()));
    EXPECT_EQ(load(useOutsideTheDefault), "crl:Root ");
}

TEST_F(LoadCrlsFromCerm, UnreadableRecordNamesNoList) {
    put("rw/store/cert/crl/1.rec", "garbage");
    put("rw/cm/crl/1", ofRoot);
    EXPECT_EQ(load(useOutsideTheDefault), "");
}

TEST_F(LoadCrlsFromCerm, FetchedListsOfEntriesComeLast) {
    putEntry(9, fetchingEntry("Root"));
    putEntry(-4, fetchingEntry("Intermediate"));
    put("rw/cm/ca_crl/9.crl", ofRoot);
    put("rw/cm/ca_crl/-4.crl", ofIntermediate);
    putCrlRecord(1);
    put("rw/cm/crl/1", ofRoot);
    EXPECT_EQ(load(useOutsideTheDefault), "Intermediate Root crl:Root crl:Intermediate crl:Root ");
}

TEST_F(LoadCrlsFromCerm, FetchedListsAreOnDiskWhateverTheSettings) {
    putNumber(3, 1);
    putEntry(9, fetchingEntry("Root"));
    put("rw/cm/ca_crl/9.crl", ofRoot);
    EXPECT_EQ(load(0x80000000), "Root crl:Root ");
}

TEST_F(LoadCrlsFromCerm, FetchedListNeedsTheFlagAndBothFields) {
    put("rw/cm/ca_crl/9.crl", ofRoot);
    kp::message record = fetchingEntry("Root");
    record.setU32(123, 0xffffffbf);
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
    record = fetchingEntry("Root");
    record.remove(kp::FieldType::raw, 143);
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
    record = fetchingEntry("Root");
    record.remove(kp::FieldType::strings, 32);
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Root ");
    record = fetchingEntry("Root");
    record.setU32(123, 0xff);
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "Root crl:Root ");
}

TEST_F(LoadCrlsFromCerm, EntryThatIsSkippedHasNoFetchedList) {
    put("rw/cm/ca_crl/9.crl", ofRoot);
    kp::message record = fetchingEntry("Root");
    record.setRaw(11, {});
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "");
    record = fetchingEntry("Root");
    record.setBool(12, false);
    putEntry(9, record);
    EXPECT_EQ(load(useOutsideTheDefault), "");
}

TEST_F(LoadCrlsFromCerm, AllTakesEveryTrustedEntryAndNoLists) {
    putNumber(7, 0);
    kp::message record = fetchingEntry("Root");
    record.setU32(45, 0);
    putEntry(9, record);
    put("rw/cm/ca_crl/9.crl", ofRoot);
    putCrlRecord(1);
    put("rw/cm/crl/1", ofRoot);
    EXPECT_EQ(load(0, true), "Renamed Root ");
    EXPECT_EQ(load(allBits, true), "Renamed Root ");
}

TEST_F(LoadCrlsFromCerm, LoadingTwiceAppendsTwice) {
    putEntry(1, entry("Root"));
    CertificateMemoryStore store;
    store.loadFromCerm(useOutsideTheDefault, false);
    store.loadFromCerm(useOutsideTheDefault, false);
    EXPECT_EQ(store.certs.size(), 2u);
}

// Entries.

kp::message recordWith(std::vector<unsigned char> const& issued) {
    kp::message record;
    record.setRaw(11, std::vector<unsigned char>{1});
    record.setRaw(129, issued);
    return record;
}

TEST(CermEntryTest, ARecordIsReadAsItIsMade) {
    CermEntry entry;
    entry.isTrusted = true;
    entry.uses = 0x10;
    entry.certificate = {1, 2, 3};
    entry.name = "name";
    entry.dnsName = "a.example";
    CermEntry const read = readCermEntry(1, makeCermRecord(entry));
    EXPECT_TRUE(read.isTrusted);
    EXPECT_EQ(read.uses, 0x10u);
    EXPECT_EQ(read.certificate, entry.certificate);
    EXPECT_EQ(read.name, "name");
    EXPECT_EQ(read.dnsName, "a.example");
    EXPECT_FALSE(read.fetchesCrl);
}

TEST(CermEntryTest, AnEmptyRecordIsNotTrusted) {
    CermEntry const read = readCermEntry(1, {});
    EXPECT_FALSE(read.isTrusted);
    EXPECT_EQ(read.uses, CermEntry::everyUse);
    EXPECT_TRUE(read.certificate.empty());
}

TEST(CermEntryTest, RecordZeroIsNotTrusted) {
    CermEntry entry;
    entry.isTrusted = true;
    EXPECT_FALSE(readCermEntry(0, makeCermRecord(entry)).isTrusted);
    EXPECT_TRUE(readCermEntry(-5, makeCermRecord(entry)).isTrusted);
}

TEST(CermEntryTest, TheIssuedCertificateCounts) {
    kp::message record = recordWith({2});
    EXPECT_EQ(readCermEntry(1, record).certificate, std::vector<unsigned char>{2});
    record.setU32(135, 1);
    EXPECT_EQ(readCermEntry(1, record).certificate, std::vector<unsigned char>{2});
    record.setU32(135, 2);
    EXPECT_TRUE(readCermEntry(1, record).certificate.empty());
}

TEST_F(LoadFromCerm, TellsWhatIsLeftOutAndWritesNothing) {
    kp::message damaged;
    damaged.setBool(12, true);
    damaged.setRaw(11, std::vector<unsigned char>{0x30, 0x05, 0x00});
    putEntry(1, damaged);
    putEntry(2, entry("Root"));
    put("kelp/etc/ca/letter.txt", "Dear all,\n");
    CertificateMemoryStore stated, silent;
    ASSERT_TRUE(stated.loadFromCerm(allBits, false));
    std::vector<LoadRefusal> refusals;
    test::CapturedOutput const output;
    ASSERT_TRUE(silent.loadFromCerm(allBits, false, &refusals));
    EXPECT_EQ(output.text(), "");
    EXPECT_EQ(silent.certs.size(), stated.certs.size());
    ASSERT_EQ(refusals.size(), 2U);
    EXPECT_TRUE(refusals[0].path.ends_with("/letter.txt")) << refusals[0].path;
    EXPECT_TRUE(refusals[0].refusal);
    EXPECT_EQ(refusals[1].path, "entry 1 of the certificate manager");
    EXPECT_EQ(refusals[1].refusal.id, RefusalId::truncatedElement);
}

TEST_F(LoadFromCerm, TellsWhichFilesOfTheBuiltInFolderAreEmptyOrCannotBeRead) {
    put("kelp/etc/ca/1-empty.pem", "");
    std::filesystem::create_directory(kp::rootPath("/kelp/etc/ca/2-folder"));
    std::filesystem::create_symlink("nowhere", kp::rootPath("/kelp/etc/ca/3-dangling.pem"));
    CertificateMemoryStore store;
    std::vector<LoadRefusal> refusals;
    ASSERT_TRUE(store.loadFromCerm(allBits, false, &refusals));
    std::map<std::string, RefusalId> found;
    for (LoadRefusal const& one : refusals)
        found[std::filesystem::path(one.path).filename()] = one.refusal.id;
    EXPECT_EQ(found, (std::map<std::string, RefusalId>{{"1-empty.pem", RefusalId::emptyInput},
                                                       {"3-dangling.pem", RefusalId::missingFile}}));
}

} // namespace TEST_FILE
