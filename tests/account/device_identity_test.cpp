#include "account/device_identity.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(MachineInfo, PrettyHostnameForms) {
  EXPECT_EQ(prettyHostnameFromMachineInfo("PRETTY_HOSTNAME=desk\n"), "desk");
  EXPECT_EQ(prettyHostnameFromMachineInfo("CHASSIS=laptop\nPRETTY_HOSTNAME=\"Ann's \\\"Box\\\"\"\n"),
            "Ann's \"Box\"");
  EXPECT_EQ(prettyHostnameFromMachineInfo("PRETTY_HOSTNAME='Lab $1'"), "Lab $1");
  EXPECT_EQ(prettyHostnameFromMachineInfo("CHASSIS=laptop\n"), std::nullopt);
  EXPECT_EQ(prettyHostnameFromMachineInfo(""), std::nullopt);
}

TEST(DeviceName, PrettyThenHostThenLinux) {
  EXPECT_EQ(deviceName("Ann's Laptop", "ann-x1"), "Ann's Laptop");
  EXPECT_EQ(deviceName(std::nullopt, "ann-x1"), "ann-x1");
  EXPECT_EQ(deviceName("  ", "ann-x1"), "ann-x1");
  EXPECT_EQ(deviceName(std::nullopt, std::nullopt), "Linux");
  EXPECT_EQ(deviceName("", ""), "Linux");
}

TEST(DeviceName, APlatformWithoutANameGivesItsOwn) {
  EXPECT_EQ(deviceName(std::nullopt, std::nullopt, "Mac"), "Mac");
  EXPECT_EQ(deviceName(" \t", std::nullopt, "Mac"), "Mac");
  EXPECT_EQ(deviceName("Ann's MacBook Air", std::nullopt, "Mac"), "Ann's MacBook Air");
}

constexpr const char* kMachineId = "b08dfa6083e7567a1921a715000001fb\n";

TEST(DeviceFingerprint, IsAnAppSpecificHashNotTheId) {
  const auto fingerprint = deviceFingerprint(kMachineId, "app.pellum.Pellum");
  ASSERT_TRUE(fingerprint);
  EXPECT_EQ(fingerprint->size(), 64u);
  EXPECT_EQ(fingerprint->find("b08dfa6083e7567a"), std::string::npos);
  EXPECT_EQ(fingerprint->find_first_not_of("0123456789abcdef"), std::string::npos);
}

TEST(DeviceFingerprint, StableForOneMachineAndApp) {
  EXPECT_EQ(deviceFingerprint(kMachineId, "app.pellum.Pellum"),
            deviceFingerprint("b08dfa6083e7567a1921a715000001fb", "app.pellum.Pellum"));
}

TEST(DeviceFingerprint, DiffersPerAppAndPerMachine) {
  EXPECT_NE(deviceFingerprint(kMachineId, "app.pellum.Pellum"), deviceFingerprint(kMachineId, "other.app"));
  EXPECT_NE(deviceFingerprint(kMachineId, "app.pellum.Pellum"),
            deviceFingerprint("b08dfa6083e7567a1921a715000001fc", "app.pellum.Pellum"));
}

TEST(DeviceFingerprint, NoneWithoutAValidMachineId) {
  EXPECT_EQ(deviceFingerprint("", "app"), std::nullopt);
  EXPECT_EQ(deviceFingerprint("uninitialized\n", "app"), std::nullopt);
  EXPECT_EQ(deviceFingerprint("z08dfa6083e7567a1921a715000001fb", "app"), std::nullopt);
}

}  // namespace
}  // namespace pellum
