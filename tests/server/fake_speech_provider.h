#pragma once

#include <chrono>
#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace pellum::server::test {

// One HTTP request as the fake received it.
struct RecordedRequest {
  std::string method, target;
  std::map<std::string, std::string> headers;  // names in lower case; repeated fields joined by ", "
  std::string body;
};

// One part of a multipart/form-data body.
struct MultipartField {
  std::string name, filename, contentType, value;
};

// A scripted fake of the remote speech and clean-up APIs pellum-server talks
// to: Gladia's live API (an HTTP start call, then a WebSocket session), the
// OpenAI-compatible transcription route (also what whisper.cpp's server
// offers) and the OpenAI-compatible chat route. It speaks their documented
// wire formats over plain HTTP/WebSocket on 127.0.0.1 (no TLS), on a port of
// its own, and answers what the test scripted, so the server's provider code
// can be tested against remote behaviour (failures, odd replies, stalls) that
// no real service produces on demand.
//
// Threads: the fake serves on its own io_context and thread, started by the
// constructor; the destructor closes every connection (stalled ones too) and
// joins the thread. Every public method may be called from any thread:
// scripts and recordings sit behind one mutex. A script set while a request
// or session is under way applies to the next request or session.
class FakeSpeechProvider {
 public:
  FakeSpeechProvider();
  ~FakeSpeechProvider();
  FakeSpeechProvider(const FakeSpeechProvider&) = delete;
  FakeSpeechProvider& operator=(const FakeSpeechProvider&) = delete;

  unsigned short port() const;
  std::string baseUrl() const;  // "http://127.0.0.1:PORT"

  // ---- Gladia live API ----
  // POST /v2/live starts a session and answers with a ws:// URL carrying a
  // token; a WebSocket on that URL is the session. See the fields for what
  // each session sends.
  struct GladiaScript {
    // Expected x-gladia-key; any other (or none) gets 401.
    std::string apiKey = "gladia-test-key";
    // Status of POST /v2/live; a non-2xx one replies {"message":initError,"request_id":"fake-request"}.
    int initStatus = 201;
    std::string initError = "scripted init failure";
    std::map<std::string, std::string> initHeaders;  // extra reply headers (e.g. retry-after)
    std::vector<std::string> utterances;             // final texts, one per utterance
    std::string language = "en";                     // utterance.language of the transcripts
    // When not empty: one "translation" message per utterance after its final.
    std::vector<std::string> translations;
    // When > 0: the first utterance's partial and final are sent as soon as
    // this many audio bytes have arrived (before stop_recording), the rest
    // after stop_recording; when 0, all after stop_recording.
    std::size_t firstUtteranceAfterBytes = 0;
    // How the session ends:
    //  normal: after stop_recording, its acknowledgement, the remaining
    //    utterances, end_recording, post_final_transcript, end_session, close 1000;
    //  closeBeforeFinal: close 1000 as soon as stop_recording arrives, no transcripts;
    //  closeWithCode: close with closeCode and reason "scripted close";
    //  errorMessage: an "error" message (status_code 500), the socket stays open;
    //  stall: nothing after stop_recording, the socket stays open;
    //  notJson: the text frame "this is not json", the socket stays open.
    enum class Ending { normal, closeBeforeFinal, closeWithCode, errorMessage, stall, notJson };
    Ending ending = Ending::normal;
    int closeCode = 4001;  // for closeWithCode
    // closeWithCode / errorMessage / notJson: act once this many audio bytes
    // arrived (0 = at stop_recording). After that, stop_recording gets nothing.
    std::size_t faultAfterBytes = 0;
  };
  void setGladia(GladiaScript script);
  std::vector<RecordedRequest> gladiaInits() const;     // every POST /v2/live
  std::size_t gladiaAudioBytes() const;                 // binary payload bytes over all sessions
  std::vector<std::size_t> gladiaFrameSizes() const;    // size of each binary frame received
  std::vector<std::string> gladiaTextMessages() const;  // text frames received (e.g. stop_recording)
  int gladiaSessions() const;                           // WebSocket sessions accepted
  // Every WebSocket upgrade request on /v2/live, refused ones too (to check
  // what the client puts on the socket: the token, and never the key).
  std::vector<RecordedRequest> gladiaUpgrades() const;

  // ---- OpenAI-compatible transcription (and whisper.cpp's server) ----
  struct TranscriptionReply {
    int status = 200;
    std::string body;                            // sent as it is
    std::map<std::string, std::string> headers;  // e.g. {"retry-after","7"}; content-type defaults to JSON
    bool stall = false;  // never answer; the connection stays open until the fake goes
    static TranscriptionReply ok(std::string text);  // 200 {"text":text}
  };
  // One reply per request, in order; the last one repeats. With none
  // scripted a request gets 500 {"error":{"message":"no scripted reply"}}.
  void setTranscriptionReplies(std::vector<TranscriptionReply> replies);
  void setTranscriptionPath(std::string path);  // default "/v1/audio/transcriptions"
  // "" (the default): no check. Otherwise a missing or different
  // "Authorization: Bearer KEY" on the transcription and chat routes gets 401
  // {"error":{"message":"Invalid API Key","type":"invalid_request_error","code":"invalid_api_key"}}.
  void setExpectedBearer(std::string key);
  std::vector<RecordedRequest> transcriptionRequests() const;
  // The parts of a multipart/form-data request, in order, split by the
  // boundary its content-type names; empty when it names none.
  static std::vector<MultipartField> multipartFields(const RecordedRequest& request);

  // ---- OpenAI-compatible chat completions (POST /v1/chat/completions) ----
  struct ChatReply {
    int status = 200;
    std::string body;
    std::chrono::milliseconds delay{0};  // waited on a timer: other requests are served meanwhile
    // Last, so the {status, body, delay} form used by the server's tests still works.
    std::map<std::string, std::string> headers{};  // e.g. {"retry-after","2"}; content-type defaults to JSON
    // 200 {"choices":[{"message":{"role":"assistant","content":content},"finish_reason":"stop"}]}
    static ChatReply ok(std::string content);
  };
  // Same order rule as the transcription replies.
  void setChatReplies(std::vector<ChatReply> replies);
  std::vector<RecordedRequest> chatRequests() const;

  // Anything else: 404 {"error":{"message":"no such route"}}; GET /health: 200 {"status":"ok"}.

  // Defined in the .cpp; named here only so its connection classes can reach it.
  struct Impl;

 private:
  std::unique_ptr<Impl> impl_;
};

}  // namespace pellum::server::test
