#include "config/korvanprofile.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <string>
#include <thread>
#include <vector>

#include "config/conf_file.h"
#include "config/profile_path.h"
#include "fake_base/fake_base.h"
#include "support/allocation_fault.h"
#include "support/fresh_process.h"

namespace {

using namespace config;
using namespace config_test;

// First in the file: the profile's own record is made once in a process.
TEST(KorvanProfileRecord, TakesNoMemory) {
  link_test::in_fresh_process([] {
    const support::AllocationFault fault(support::Fault::kEvery);
    EXPECT_EQ(profile_pair_count(), 0U);
    EXPECT_FALSE(fault.struck());
  });
}

// A profile in a file of its own; nothing is loaded before and after.
class KorvanProfile : public fake_base::FakeBaseTest {
 protected:
  KorvanProfile() { set_profile_path(file_.path()); }
  ~KorvanProfile() override {
    profile_release();
    set_profile_path("/there/is/no/profile.conf");
  }

  // Returns what the load has printed.
  std::string load(std::string_view content) {
    file_.write(content);
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(CclInit(), 0);
    return ::testing::internal::GetCapturedStdout();
  }

  ConfFile file_;
};

TEST_F(KorvanProfile, PrintsEveryPairInKeyOrderAndTheModelTwice) {
  EXPECT_EQ(load("WifiChannel = 6\n# comment\nModelName=FALK2\nTitle=\"a # b\"\nEmpty=\n"),
            "CclInit(line=60):(Empty,)\n"
            "CclInit(line=60):(ModelName,FALK2)\n"
            "CclInit(line=60):(Title,a # b)\n"
            "CclInit(line=60):(WifiChannel,6)\n"
            "CclInit(line=68):keyvalue=FALK2,keyvalue1=FALK2\n");
  EXPECT_EQ(profile_pair_count(), 4U);
}

TEST_F(KorvanProfile, AMissingModelIsPrintedAsNull) {
  EXPECT_EQ(load("a=1\n"),
            "CclInit(line=60):(a,1)\nCclInit(line=68):keyvalue=(null),keyvalue1=(null)\n");
}

TEST_F(KorvanProfile, AMissingFileGivesAnEmptyProfile) {
  load("a=1\n");
  set_profile_path("/there/is/no/profile.conf");
  ::testing::internal::CaptureStderr();
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(CclInit(), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "CclInit(line=68):keyvalue=(null),keyvalue1=(null)\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), ": Unable to open '/korvan.conf'\n");
  EXPECT_EQ(profile_pair_count(), 0U);
  EXPECT_EQ(profile_get("a"), nullptr);
}

TEST_F(KorvanProfile, AFolderInItsPlaceGivesAnEmptyProfile) {
  set_profile_path("/");
  EXPECT_EQ(CclInit(), 0);
  EXPECT_EQ(profile_pair_count(), 0U);
}

TEST_F(KorvanProfile, CountsDistinctKeys) {
  ::testing::internal::CaptureStderr();
  load("a=1\nb=2\na=3\nno key\n");
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            ": Ignoring duplicate key 'a' (/korvan.conf:3)\n");
  EXPECT_EQ(profile_pair_count(), 2U);
}

TEST_F(KorvanProfile, AnswersByKey) {
  EXPECT_EQ(profile_get("ModelName"), nullptr);
  load("ModelName=FALK2\n");
  EXPECT_STREQ(profile_get("ModelName"), "FALK2");
  EXPECT_EQ(profile_get("WifiChannel"), nullptr);
  EXPECT_EQ(profile_get(nullptr), nullptr);
}

TEST_F(KorvanProfile, EveryLoadReplacesTheLast) {
  load("a=1\nb=2\n");
  load("c=3\n");
  EXPECT_EQ(profile_pair_count(), 1U);
  EXPECT_EQ(profile_get("a"), nullptr);
  EXPECT_STREQ(profile_get("c"), "3");
}

TEST_F(KorvanProfile, ReleaseLetsGoOfThePairs) {
  load("a=1\n");
  EXPECT_EQ(profile_release(), 0);
  EXPECT_EQ(profile_get("a"), nullptr);
  EXPECT_EQ(profile_pair_count(), 1U);
  EXPECT_EQ(profile_release(), 0);
}

TEST_F(KorvanProfile, ACopyBeginsAtTheSmallestKeyAndWraps) {
  load("b=2\na=1\n");
  ProfileCopy copy = profile_shared_copy();
  EXPECT_EQ(copy.pair_count, 2U);
  EXPECT_EQ(walk(&copy.handle), (Pairs{{"a", "1"}, {"b", "2"}}));
  EXPECT_EQ(walk(&copy.handle), (Pairs{{"a", "1"}, {"b", "2"}}));
  EXPECT_STREQ(ccl_get(&copy.handle, "b"), "2");
}

TEST_F(KorvanProfile, CopiesWalkOnTheirOwn) {
  load("b=2\na=1\n");
  ProfileCopy one = profile_shared_copy();
  EXPECT_STREQ(ccl_iterate(&one.handle)->key, "a");
  ProfileCopy other = profile_shared_copy();
  EXPECT_STREQ(ccl_iterate(&other.handle)->key, "a");
  EXPECT_STREQ(ccl_iterate(&one.handle)->key, "b");
  EXPECT_STREQ(ccl_iterate(&other.handle)->key, "b");
}

TEST_F(KorvanProfile, ACopyOutlivesReleaseAndReload) {
  load("a=1\nb=2\nc=3\n");
  ProfileCopy copy = profile_shared_copy();
  EXPECT_STREQ(ccl_iterate(&copy.handle)->key, "a");
  profile_release();
  EXPECT_STREQ(ccl_iterate(&copy.handle)->key, "b");
  load("x=9\n");
  EXPECT_STREQ(ccl_iterate(&copy.handle)->key, "c");
  EXPECT_EQ(ccl_iterate(&copy.handle), nullptr);
}

TEST_F(KorvanProfile, WithoutALoadedProfileACopyIsEmpty) {
  ProfileCopy copy = profile_shared_copy();
  EXPECT_EQ(copy.pair_count, 0U);
  EXPECT_EQ(ccl_iterate(&copy.handle), nullptr);
  EXPECT_EQ(ccl_get(&copy.handle, "a"), nullptr);
}

TEST_F(KorvanProfile, WithoutMemoryTheProfileIsWhatCouldBeRead) {
  load("a=1\nb=2\n");
  ::testing::internal::CaptureStdout();
  {
    const support::AllocationFault fault(support::Fault::kEvery, 0);
    EXPECT_EQ(CclInit(), 0);
  }
  EXPECT_EQ(profile_pair_count(), 0U);
  EXPECT_EQ(profile_get("a"), nullptr);
  {
    // The record of the load, the table, the token and the place of the key; not the value.
    const support::AllocationFault fault(support::Fault::kEvery, 4);
    EXPECT_EQ(CclInit(), 0);
  }
  EXPECT_EQ(profile_pair_count(), 0U);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "CclInit(line=68):keyvalue=(null),keyvalue1=(null)\n"
            "CclInit(line=68):keyvalue=(null),keyvalue1=(null)\n");
}

TEST_F(KorvanProfile, SettingTheWifiChannelRunsTwoCommandsAndThenLoads) {
  load("WifiChannel=11\nModelName=FALK2\n");
  fake_base::on_command([this](const std::string& command) {
    EXPECT_STREQ(profile_get("WifiChannel"), "11") << "loaded too early, before " << command;
    if (command.starts_with("/bin/sed")) file_.write("ModelName=FALK2\n");
  });
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(set_wifi_channel(6), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(),
            "CclInit(line=60):(ModelName,FALK2)\n"
            "CclInit(line=68):keyvalue=FALK2,keyvalue1=FALK2\n");
  EXPECT_EQ(
      fake_base::events(),
      (std::vector<std::string>{"quiet /bin/sed -i '/WifiChannel/d' /korvan.conf", "sleep 10000",
                                "quiet /bin/echo WifiChannel=6", "sleep 10000"}));
  EXPECT_EQ(profile_get("WifiChannel"), nullptr);
  EXPECT_EQ(profile_pair_count(), 1U);
}

TEST_F(KorvanProfile, AnyChannelNumberFits) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(set_wifi_channel(INT_MIN), 0);
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(fake_base::commands().at(1), "/bin/echo WifiChannel=-2147483648");
}

// Readers on threads of their own, while the profile is loaded and released again and again.
TEST_F(KorvanProfile, WalksAndReloadsMayHappenAtTheSameTime) {
  load("a=1\nb=2\nc=3\nModelName=FALK2\n");
  const Pairs all = {{"ModelName", "FALK2"}, {"a", "1"}, {"b", "2"}, {"c", "3"}};
  std::atomic<bool> stop = false;
  std::atomic<int> wrong = 0;
  std::vector<std::thread> readers;
  readers.reserve(2);
  for (int i = 0; i < 2; i++) {
    readers.emplace_back([&] {
      while (!stop) {
        ProfileCopy copy = profile_shared_copy();
        const Pairs pairs = walk(&copy.handle);
        if (pairs.size() != copy.pair_count || (!pairs.empty() && pairs != all)) wrong++;
        static_cast<void>(profile_pair_count());
      }
    });
  }
  ::testing::internal::CaptureStdout();
  std::thread other([] {
    for (int i = 0; i < 50; i++) set_wifi_channel(i);
  });
  for (int i = 0; i < 50; i++) CclInit();
  other.join();
  stop = true;
  for (std::thread& reader : readers) reader.join();
  ::testing::internal::GetCapturedStdout();
  EXPECT_EQ(wrong, 0);
}

}  // namespace
