// The web port: account home, pairing and the code exchange, on a real
// server over loopback.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include <unistd.h>

#include "query_string.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"

namespace pellum::server::test {
namespace {

// RFC 7636, Appendix B.
constexpr const char* kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr const char* kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";

class ServerWebRouteTest : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_TRUE(server.started()) << server.output(); }

  std::string origin() const { return "http://127.0.0.1:" + std::to_string(server.webPort()); }

  HttpReply get(const std::string& target) { return httpRequest(server.webPort(), "GET", target); }

  HttpReply postForm(const std::string& target, const std::string& form, const Headers& extra = {}) {
    Headers headers{{"Content-Type", "application/x-www-form-urlencoded"}};
    headers.insert(headers.end(), extra.begin(), extra.end());
    return httpRequest(server.webPort(), "POST", target, headers, form);
  }

  HttpReply exchange(const std::string& json) {
    return httpRequest(server.webPort(), "POST", "/api/devices/exchange",
                       {{"Content-Type", "application/json"}}, json);
  }

  static std::string hiddenValue(const std::string& page, const std::string& name) {
    std::smatch match;
    const std::regex field("name=\"" + name + "\" value=\"([^\"]*)\"");
    if (!std::regex_search(page, match, field)) return {};
    std::string value = match[1].str();
    for (const auto& [escaped, plain] :
         {std::pair{"&#39;", "'"}, {"&quot;", "\""}, {"&lt;", "<"}, {"&gt;", ">"}, {"&amp;", "&"}}) {
      for (auto at = value.find(escaped); at != std::string::npos; at = value.find(escaped, at + 1)) {
        value.replace(at, std::string(escaped).size(), plain);
      }
    }
    return value;
  }

  std::string pairingTarget(const std::string& scheme = "pellum") const {
    return "/devices/pair?code_challenge=" + std::string(kChallenge) +
           "&state=st%2Fate&device_name=Ann%27s+Laptop&platform=linux&url_scheme=" + scheme;
  }

  // Opens the pairing page and approves it as the browser would.
  HttpReply approve(const Headers& extra = {{}}) {
    const auto page = get(pairingTarget());
    std::string form;
    for (const char* name : {"code_challenge", "state", "device_name", "platform", "url_scheme", "csrf"}) {
      form += std::string(form.empty() ? "" : "&") + name + "=" + percentEncode(hiddenValue(page.body, name));
    }
    Headers headers{{"Origin", origin()}, {"Sec-Fetch-Site", "same-origin"}};
    if (extra.size() == 1 && extra[0].first.empty()) return postForm("/devices/pair", form, headers);
    return postForm("/devices/pair", form, extra);
  }

  ServerProcess server;
};

TEST_F(ServerWebRouteTest, HomeListsDevicesWithRevokeButtons) {
  server.addDevice("Desk <one>");
  const auto page = get("/");
  ASSERT_EQ(page.status, 200);
  EXPECT_EQ(page.headers.at("content-type"), "text/html; charset=utf-8");
  EXPECT_NE(page.body.find("Desk &lt;one&gt;"), std::string::npos);
  EXPECT_NE(page.body.find("action=\"/devices/revoke\""), std::string::npos);
  EXPECT_EQ(page.headers.at("x-frame-options"), "DENY");
}

TEST_F(ServerWebRouteTest, PairingFlowEndsWithAWorkingToken) {
  const auto page = get(pairingTarget());
  ASSERT_EQ(page.status, 200);
  EXPECT_NE(page.body.find("Ann&#39;s Laptop"), std::string::npos);
  EXPECT_NE(page.body.find(">Approve</button>"), std::string::npos);

  const auto approved = approve();
  ASSERT_EQ(approved.status, 303) << approved.body;
  const std::string location = approved.headers.at("location");
  std::smatch match;
  ASSERT_TRUE(std::regex_match(location, match,
                               std::regex(R"(pellum://paired\?code=([A-Za-z0-9_-]{43})&state=st%2Fate)")))
      << location;
  const std::string code = match[1];

  const auto wrongVerifierFirst = exchange(R"({"code":")" + code + R"(","code_verifier":"x"})");
  EXPECT_EQ(wrongVerifierFirst.status, 400);  // and the code is spent
  const auto approvedAgain = approve();
  const std::string code2 =
      parseTarget(approvedAgain.headers.at("location").substr(std::string("pellum://paired").size()))
          .query.at("code");

  const auto reply =
      exchange(R"({"code":")" + code2 + R"(","code_verifier":")" + kVerifier + R"(","fingerprint":"fp-1"})");
  ASSERT_EQ(reply.status, 200) << reply.body;
  EXPECT_EQ(reply.headers.at("content-type"), "application/json");
  const auto json = nlohmann::json::parse(reply.body);
  const std::string token = json.at("token");
  EXPECT_EQ(token.size(), 43u);

  const auto transcribeReply =
      httpRequest(server.transcribePort(), "POST", "/transcribe",
                  {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                  buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", "junk"));
  EXPECT_EQ(transcribeReply.status, 415);  // past the token check

  const auto devices = server.listDevices();
  ASSERT_EQ(devices.size(), 1u);
  EXPECT_EQ(devices[0].rfind("1\tAnn's Laptop\tlinux\t", 0), 0u) << devices[0];

  const auto replay = exchange(R"({"code":")" + code2 + R"(","code_verifier":")" + kVerifier + R"("})");
  EXPECT_EQ(replay.status, 400);
  EXPECT_EQ(replay.body, R"({"error":"pairing code already used"})");
}

TEST_F(ServerWebRouteTest, ExchangeWhoseStoreCannotCommitIs500) {
  const auto approved = approve();
  ASSERT_EQ(approved.status, 303) << approved.body;
  const std::string code =
      parseTarget(approved.headers.at("location").substr(std::string("pellum://paired").size()))
          .query.at("code");
  const std::string body = R"({"code":")" + code + R"(","code_verifier":")" + kVerifier + R"("})";
  // As on a full disk: the server's files may not grow, so the exchange's
  // commit fails.
  const std::string pid = std::to_string(server.pid());
  ASSERT_EQ(runProgram("/usr/bin/prlimit", {"--pid", pid, "--fsize=0:"}).status, 0);
  const auto failed = exchange(body);
  ASSERT_EQ(runProgram("/usr/bin/prlimit", {"--pid", pid, "--fsize=unlimited:"}).status, 0);
  EXPECT_EQ(failed.status, 500);
  EXPECT_EQ(failed.headers.at("content-type"), "application/json");
  EXPECT_EQ(failed.body, R"({"error":"device store failure"})");
  EXPECT_TRUE(server.listDevices().empty());
  const auto retried = exchange(body);
  EXPECT_EQ(retried.status, 200) << retried.body;
}

TEST_F(ServerWebRouteTest, ExchangeRefusalsAreJsonErrors) {
  struct Case {
    std::string body;
    std::string error;
  };
  for (const auto& [body, error] :
       std::vector<Case>{{"not json", R"({"error":"body is not a JSON object"})"},
                         {R"({"code":"nope","code_verifier":")" + std::string(kVerifier) + R"("})",
                          R"({"error":"unknown pairing code"})"},
                         {R"({"code":"nope"})", R"({"error":"code_verifier is missing"})"}}) {
    const auto reply = exchange(body);
    EXPECT_EQ(reply.status, 400) << body;
    EXPECT_EQ(reply.body, error) << body;
  }
}

TEST_F(ServerWebRouteTest, UnsafeCallbackSchemesAreRefused) {
  for (const char* scheme : {"https", "javascript", "data", "file", "http", "Pellum", ""}) {
    const auto page = get(pairingTarget(scheme));
    EXPECT_EQ(page.status, 400) << scheme;
    EXPECT_EQ(page.body.find(">Approve</button>"), std::string::npos);
  }
}

TEST_F(ServerWebRouteTest, ApprovalFromAnotherSiteIsRefused) {
  EXPECT_EQ(approve({{"Origin", "https://evil.example"}}).status, 403);
  EXPECT_EQ(approve({{"Sec-Fetch-Site", "cross-site"}}).status, 403);
  const std::string noToken = "code_challenge=" + std::string(kChallenge) + "&state=s&url_scheme=pellum";
  EXPECT_EQ(postForm("/devices/pair", noToken).status, 403);
  EXPECT_EQ(approve().status, 303);
}

TEST_F(ServerWebRouteTest, RevokeButtonRevokes) {
  const std::string token = server.addDevice("Desk");
  const auto home = get("/");
  const std::string form = "id=1&csrf=" + hiddenValue(home.body, "csrf");
  EXPECT_EQ(postForm("/devices/revoke", "id=1&csrf=wrong").status, 403);
  const auto revoked = postForm("/devices/revoke", form, {{"Origin", origin()}});
  EXPECT_EQ(revoked.status, 303);
  EXPECT_EQ(revoked.headers.at("location"), "/");
  LiveClient client;
  EXPECT_EQ(client.connect(server.transcribePort(),
                           "/transcribe/stream?mode=raw&language=en&sample_rate=16000", token),
            401);
  EXPECT_EQ(postForm("/devices/revoke", "id=99&csrf=" + hiddenValue(home.body, "csrf")).status, 404);
}

TEST_F(ServerWebRouteTest, OversizedBodyIs413) {
  const auto reply = exchange(std::string(100 * 1024, ' '));
  EXPECT_EQ(reply.status, 413);
}

TEST_F(ServerWebRouteTest, PagesAnswerOnlyToDirectAddresses) {
  const auto rebound = httpRequest(server.webPort(), "GET", "/",
                                   {{"Host", "evil.example:" + std::to_string(server.webPort())}});
  EXPECT_EQ(rebound.status, 421);
  EXPECT_EQ(rebound.body.find("csrf"), std::string::npos);
  EXPECT_EQ(
      httpRequest(server.webPort(), "GET", "/", {{"Host", "localhost:" + std::to_string(server.webPort())}})
          .status,
      200);
}

TEST_F(ServerWebRouteTest, AnotherUserOfThisMachineCannotSeeDevicesOrApprove) {
  // curl as "nobody", from this machine: the server's pages are its owner's.
  if (geteuid() != 0) GTEST_SKIP() << "needs root to run a client as another user";
  auto asNobody = [this](const std::vector<std::string>& curlArgs) {
    std::vector<std::string> args{
        "--reuid=65534", "--regid=65534", "--clear-groups", "curl", "-s", "-o", "/dev/null", "-w",
        "%{http_code}"};
    args.insert(args.end(), curlArgs.begin(), curlArgs.end());
    return runProgram("/usr/bin/setpriv", args, {}).out;
  };
  EXPECT_EQ(asNobody({origin() + "/"}), "403");
  EXPECT_EQ(asNobody({origin() + pairingTarget()}), "403");
  EXPECT_EQ(asNobody({"-d", "id=1", origin() + "/devices/revoke"}), "403");
  // The owner (this test runs as the server's user) still can.
  EXPECT_EQ(get("/").status, 200);
  EXPECT_EQ(get(pairingTarget()).status, 200);
}

TEST_F(ServerWebRouteTest, UnknownPageIs404) { EXPECT_EQ(get("/admin").status, 404); }

}  // namespace
}  // namespace pellum::server::test
