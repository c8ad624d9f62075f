#include "cli/doctor_report.h"

#include <gtest/gtest.h>

namespace pellum {
namespace {

TEST(DoctorReport, LinesShowTheirMarkAndTheHintOnlyWhenMissing) {
  EXPECT_EQ(formatDoctorLine(DoctorLine::ok("Sound server", "answers")), "\u2713 Sound server: answers");
  EXPECT_EQ(formatDoctorLine(DoctorLine::note("Backends", "key x11")), "\u2013 Backends: key x11");
  EXPECT_EQ(formatDoctorLine(DoctorLine::missing("Keyring", "none", "install one")),
            "\u2717 Keyring: none\n    \u2192 install one");
}

TEST(DoctorReport, OnlyANeededMissingPieceFails) {
  EXPECT_EQ(doctorExitStatus({DoctorLine::ok("a", "b"), DoctorLine::note("c", "d")}), 0);
  EXPECT_EQ(doctorExitStatus({DoctorLine::missing("Paste", "XWayland only", "x", /*needed=*/false)}), 0);
  EXPECT_EQ(doctorExitStatus({DoctorLine::ok("a", "b"), DoctorLine::missing("Server", "down", "start it")}),
            1);
}

TEST(DoctorReport, ServerOutcomes) {
  ServerProbe probe{ServerProbe::Outcome::accepted, "http://127.0.0.1:3001", true, {}, 5};
  EXPECT_EQ(serverLine(probe).status, DoctorLine::Status::ok);
  probe.outcome = ServerProbe::Outcome::noToken;
  EXPECT_EQ(serverLine(probe).detail, "http://127.0.0.1:3001 answers (sign in to use it)");
  probe.outcome = ServerProbe::Outcome::timedOut;
  EXPECT_EQ(serverLine(probe).detail, "http://127.0.0.1:3001 did not answer within 5 s");
  EXPECT_TRUE(serverLine(probe).hint.starts_with("start it: systemctl --user start pellum-server"));
  probe.local = false;
  probe.address = "https://dictation.example";
  probe.outcome = ServerProbe::Outcome::unreachable;
  probe.detail = "Host dictation.example not found";
  EXPECT_EQ(serverLine(probe).detail,
            "https://dictation.example cannot be reached (Host dictation.example not found)");
  EXPECT_EQ(serverLine(probe).hint, "check the address (PELLUM_TRANSCRIBE_URL) and the network");
  probe.outcome = ServerProbe::Outcome::unexpected;
  probe.detail = "it answered HTTP 404";
  EXPECT_EQ(serverLine(probe).detail,
            "https://dictation.example is not a Pellum server (it answered HTTP 404)");
}

TEST(DoctorReport, EnginesOfARemoteServerAreOnlyNoted) {
  EXPECT_EQ(enginesLine({EngineProbe::Outcome::remote, {}}).status, DoctorLine::Status::note);
  const auto failed = enginesLine({EngineProbe::Outcome::failed, "check groq: failed (HTTP 401)"});
  EXPECT_EQ(failed.status, DoctorLine::Status::missing);
  EXPECT_EQ(failed.detail, "check groq: failed (HTTP 401)");
}

TEST(DoctorReport, SignInLinksNameTheHandlerTheyOpen) {
  EXPECT_EQ(urlSchemeLine("pellum", "pellum.desktop").status, DoctorLine::Status::ok);
  const auto other = urlSchemeLine("pellum", "firefox.desktop");
  EXPECT_EQ(other.detail, "pellum: links open firefox.desktop");
  EXPECT_EQ(other.hint, "xdg-mime default pellum.desktop x-scheme-handler/pellum");
  EXPECT_EQ(urlSchemeLine("pellum", "").detail, "pellum: links open nothing");
}

}  // namespace
}  // namespace pellum
