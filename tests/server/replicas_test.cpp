// Two pellum-server replicas on one PostgreSQL store behind the load
// balancer configurations administrators are given (nginx, HAProxy): any
// replica serves any request, a live session stays on the one that took it,
// and a replica that dies is stepped around.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <regex>

#include "audio/wav.h"
#include "load_balancer.h"
#include "postgres_server.h"
#include "query_string.h"
#include "recorded_speech.h"
#include "route_client.h"
#include "server_process.h"
#include "transcription/multipart_body.h"

namespace pellum::server::test {
namespace {

constexpr const char* kVerifier = "dBjftJeZ4CVP-mB92K27uhbUJU1p1r_wW1gFWFOEjXk";
constexpr const char* kChallenge = "E9Melhoa2OwvFrEMTJguCHaoeK1t8URWbuGJSstw-cM";
constexpr const char* kLiveTarget =
    "/transcribe/stream?provider=gladia&mode=raw&language=en&sample_rate=16000";
constexpr const char* kPublicHost = "pellum.example.org";

std::string hiddenValue(const std::string& page, const std::string& name) {
  std::smatch match;
  if (!std::regex_search(page, match, std::regex("name=\"" + name + "\" value=\"([^\"]*)\""))) return {};
  return std::regex_replace(match[1].str(), std::regex("&amp;"), "&");
}

class ServerReplicasTest : public ::testing::TestWithParam<LoadBalancer::Kind> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(postgres.started()) << postgres.failure();
    store = postgres.createDatabase();
    ASSERT_FALSE(store.empty()) << postgres.failure();
    // The proxy reaches the replicas from 127.0.0.1, as do the test's own
    // direct requests: both are taken at their word.
    for (auto& replica : replicas) {
      replica = std::make_unique<ServerProcess>(
          std::vector<std::string>{"--store", store, "--trusted-proxy", "127.0.0.1"});
      ASSERT_TRUE(replica->started()) << replica->output();
    }
    proxy = std::make_unique<LoadBalancer>(
        GetParam(),
        std::vector<LoadBalancer::Replica>{{replicas[0]->webPort(), replicas[0]->transcribePort()},
                                           {replicas[1]->webPort(), replicas[1]->transcribePort()}});
    ASSERT_TRUE(proxy->started()) << proxy->failure();
    const auto utterance = recordedSpeech().front();
    wav = readFile(utterance.wavPath);
    reference = utterance.reference;
  }

  static std::string pairingTarget() {
    return "/devices/pair?code_challenge=" + std::string(kChallenge) +
           "&state=s&device_name=Laptop&platform=linux&url_scheme=pellum";
  }

  // The approval form as the pairing page fills it in.
  static std::string approvalForm(const HttpReply& page) {
    std::string form;
    for (const char* name : {"code_challenge", "state", "device_name", "platform", "url_scheme", "csrf"}) {
      form += std::string(form.empty() ? "" : "&") + name + "=" + percentEncode(hiddenValue(page.body, name));
    }
    return form;
  }

  // A browser's form POST to `port`. Straight to a replica the test plays a
  // proxy that ended TLS; the test's nginx speaks plain HTTP.
  HttpReply postForm(unsigned short port, const std::string& target, const std::string& form,
                     const Headers& signIn = {}) {
    const bool viaProxy = port == proxy->port();
    Headers headers{{"Host", kPublicHost},
                    {"Content-Type", "application/x-www-form-urlencoded"},
                    {"Origin", std::string(viaProxy ? "http://" : "https://") + kPublicHost},
                    {"Sec-Fetch-Site", "same-origin"}};
    if (!viaProxy) headers.emplace_back("X-Forwarded-Proto", "https");
    headers.insert(headers.end(), signIn.begin(), signIn.end());
    return httpRequest(port, "POST", target, headers, form);
  }

  // The pairing page on `port`, approved as a signed-in browser would;
  // returns the code from the redirect to the app.
  std::string approveOn(unsigned short port, const Headers& signIn = {}) {
    Headers headers{{"Host", kPublicHost}};
    headers.insert(headers.end(), signIn.begin(), signIn.end());
    const auto page = httpRequest(port, "GET", pairingTarget(), headers);
    EXPECT_EQ(page.status, 200) << page.body;
    const auto approved = postForm(port, "/devices/pair", approvalForm(page), signIn);
    EXPECT_EQ(approved.status, 303) << approved.body;
    const auto location = approved.headers.find("location");
    if (location == approved.headers.end()) return {};
    const auto query = parseTarget(location->second.substr(std::string("pellum://paired").size())).query;
    const auto code = query.find("code");
    return code == query.end() ? std::string() : code->second;
  }

  HttpReply exchangeOn(unsigned short port, const std::string& code) {
    return httpRequest(port, "POST", "/api/devices/exchange",
                       {{"Host", kPublicHost}, {"Content-Type", "application/json"}},
                       nlohmann::json{{"code", code}, {"code_verifier", kVerifier}}.dump());
  }

  HttpReply uploadOn(unsigned short port, const std::string& token) {
    return httpRequest(port, "POST", "/transcribe",
                       {{"Content-Type", multipartContentType("b")}, {"Authorization", "Bearer " + token}},
                       buildMultipartBody("b", TranscriptionMode::raw, "en", "audio/wav", wav));
  }

  // Streams the recording at full speed, stops, and returns the final text
  // ("" when the session did not end with "done").
  std::string dictateOn(unsigned short port, const std::string& token) {
    LiveClient client;
    if (client.connect(port, kLiveTarget, token) != 101) return {};
    for (const auto& chunk : pcmChunks(std::string(std::get<WavInfo>(parseWav(wav)).data)))
      client.sendBinary(chunk);
    client.sendText(R"({"type":"stop"})");
    std::string text;
    bool done = false;
    for (const auto& message : client.readAll()) {
      if (messageType(message) == "raw") text = messageText(message);  // the last is the whole
      if (messageType(message) == "done") done = true;
    }
    return done ? text : std::string();
  }

  PostgresServer postgres;
  std::string store;
  std::unique_ptr<ServerProcess> replicas[2];
  std::unique_ptr<LoadBalancer> proxy;
  std::string wav;
  std::string reference;
};

TEST_P(ServerReplicasTest, PairedOnOneReplicaExchangedOnTheOther) {
  const auto code = approveOn(replicas[0]->webPort());
  ASSERT_FALSE(code.empty());
  const auto exchanged = exchangeOn(replicas[1]->webPort(), code);
  ASSERT_EQ(exchanged.status, 200) << exchanged.body;
  const std::string token = nlohmann::json::parse(exchanged.body).at("token");
  EXPECT_EQ(uploadOn(replicas[0]->transcribePort(), token).status, 200);
  EXPECT_EQ(uploadOn(replicas[1]->transcribePort(), token).status, 200);
  // Spent on B, spent everywhere.
  EXPECT_EQ(exchangeOn(replicas[0]->webPort(), code).status, 400);
}

TEST_P(ServerReplicasTest, PagePostedToTheOtherReplicaIsAccepted) {
  // The form secret is the store's, so a page from A may be approved on B:
  // behind a balancer the two requests rarely meet the same replica.
  const auto page = httpRequest(replicas[0]->webPort(), "GET", pairingTarget(), {{"Host", kPublicHost}});
  const auto approved = postForm(replicas[1]->webPort(), "/devices/pair", approvalForm(page));
  EXPECT_EQ(approved.status, 303) << approved.body;
}

TEST_P(ServerReplicasTest, RevokedOnOneReplicaIsRefusedOnTheOther) {
  const std::string token = replicas[0]->addDevice("Desk");
  ASSERT_EQ(uploadOn(replicas[1]->transcribePort(), token).status, 200);
  const auto home = httpRequest(replicas[0]->webPort(), "GET", "/", {{"Host", kPublicHost}});
  const std::string form = "id=1&csrf=" + percentEncode(hiddenValue(home.body, "csrf"));
  const auto revoked = postForm(replicas[0]->webPort(), "/devices/revoke", form);
  ASSERT_EQ(revoked.status, 303) << revoked.body;
  EXPECT_EQ(uploadOn(replicas[1]->transcribePort(), token).status, 401);
  LiveClient client;
  EXPECT_EQ(client.connect(replicas[1]->transcribePort(), kLiveTarget, token), 401);
}

TEST_P(ServerReplicasTest, PairingThroughTheProxyNeedsItsSignIn) {
  EXPECT_EQ(httpRequest(proxy->port(), "GET", "/devices/pair?state=s").status, 401);
  const auto code = approveOn(proxy->port(), {basicAuth("user", "user-pass")});
  ASSERT_FALSE(code.empty());
  const auto exchanged = exchangeOn(proxy->port(), code);
  ASSERT_EQ(exchanged.status, 200) << exchanged.body;
  // The device list is the administrators'.
  EXPECT_EQ(httpRequest(proxy->port(), "GET", "/", {basicAuth("user", "user-pass")}).status, 401);
  const auto home =
      httpRequest(proxy->port(), "GET", "/", {{"Host", kPublicHost}, basicAuth("admin", "admin-pass")});
  EXPECT_EQ(home.status, 200);
  EXPECT_NE(home.body.find("Laptop"), std::string::npos);
  // Monitoring scrapes the replicas, never the public address.
  EXPECT_EQ(httpRequest(proxy->port(), "GET", "/metrics").status, 404);
  EXPECT_EQ(httpRequest(proxy->port(), "GET", "/readyz").status, 200);
}

TEST_P(ServerReplicasTest, LiveSessionAndUploadThroughTheProxy) {
  const std::string token = replicas[0]->addDevice("Desk");
  const std::string spoken = dictateOn(proxy->port(), token);
  EXPECT_GT(wordRecall(spoken, reference), 0.5) << spoken;
  const auto uploaded = uploadOn(proxy->port(), token);
  ASSERT_EQ(uploaded.status, 200) << uploaded.body;
  EXPECT_GT(wordRecall(uploaded.body, reference), 0.5) << uploaded.body;
  EXPECT_EQ(uploadOn(proxy->port(), "not-a-token").status, 401);
}

TEST_P(ServerReplicasTest, SessionsGoOnAfterAReplicaDies) {
  const std::string token = replicas[0]->addDevice("Desk");
  replicas[0]->killNow();
  // Each request has an even chance of being sent to the dead replica
  // first; nginx must step over to the live one every time.
  for (int i = 0; i < 4; ++i) {
    EXPECT_FALSE(dictateOn(proxy->port(), token).empty()) << "session " << i << "\n" << proxy->log();
    EXPECT_EQ(uploadOn(proxy->port(), token).status, 200) << "upload " << i;
  }
}

TEST_P(ServerReplicasTest, ReplicaIsNotReadyWhileTheDatabaseIsDown) {
  const std::string token = replicas[0]->addDevice("Desk");
  ASSERT_TRUE(postgres.stop()) << postgres.failure();
  const auto down = httpRequest(replicas[0]->transcribePort(), "GET", "/readyz");
  EXPECT_EQ(down.status, 503);
  EXPECT_NE(down.body.find("device store unreachable"), std::string::npos) << down.body;
  EXPECT_EQ(httpRequest(replicas[0]->transcribePort(), "GET", "/healthz").status, 200);
  // The token may be good: not a sign-out, and not a guess either.
  for (int i = 0; i < 12; ++i) {
    const auto refused = uploadOn(replicas[0]->transcribePort(), token);
    EXPECT_EQ(refused.status, 503) << i;
    EXPECT_NE(refused.body.find("device store unreachable"), std::string::npos) << refused.body;
  }
  ASSERT_TRUE(postgres.start()) << postgres.failure();
  EXPECT_EQ(httpRequest(replicas[0]->transcribePort(), "GET", "/readyz").status, 200);
  EXPECT_EQ(uploadOn(replicas[0]->transcribePort(), token).status, 200);
}

INSTANTIATE_TEST_SUITE_P(Balancers, ServerReplicasTest,
                         ::testing::Values(LoadBalancer::Kind::nginx, LoadBalancer::Kind::haproxy),
                         [](const ::testing::TestParamInfo<LoadBalancer::Kind>& balancer) {
                           return kindName(balancer.param);
                         });

}  // namespace
}  // namespace pellum::server::test
