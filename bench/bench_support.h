#pragma once

// What the desktop benchmarks share: percentiles, a capture source that
// stamps the first buffer of each recording, and the desktop program
// started against a server.

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <vector>

#include "audio/audio_recorder.h"
#include "audio/capture_source.h"
#include "server_process.h"
#include "support/event_loop.h"
#include "support/pulse_server.h"

namespace pellum::bench {

using Clock = std::chrono::steady_clock;

inline double percentile(std::vector<double> values, double p) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<std::size_t>(p * static_cast<double>(values.size() - 1) + 0.5)];
}

inline double millisecondsSince(Clock::time_point start, Clock::time_point end = Clock::now()) {
  return std::chrono::duration<double, std::milli>(end - start).count();
}

// Stamps the first delivery of each recording.
class FirstBufferSource : public CaptureSource {
 public:
  explicit FirstBufferSource(std::unique_ptr<CaptureSource> inner) : inner_(std::move(inner)) {}
  StartResult start(const std::string& device, Deliver deliver, std::string& error) override {
    first_ = {};
    seen_ = false;
    return inner_->start(
        device,
        [this, deliver](const char* data, std::size_t size) {
          // One capture thread delivers: the stamp is written before the
          // flag that publishes it.
          if (!seen_.load()) {
            first_ = Clock::now();
            seen_.store(true);
          }
          deliver(data, size);
        },
        error);
  }
  void stop() override { inner_->stop(); }
  std::atomic<bool> seen_{false};
  Clock::time_point first_;

 private:
  std::unique_ptr<CaptureSource> inner_;
};

// Press-to-capture: a recorder on a sine source whose first buffer of each
// recording is stamped. The hotkey under test gets onPress and onRelease as
// its callbacks; measure() works the key `presses` times. Buffers still
// coming from the previous recording are let drain first, and a stamp older
// than the recording's own start is not taken.
class CaptureRig {
 public:
  explicit CaptureRig(test::PulseServer& pulse) {
    pulse.pactl({QStringLiteral("load-module"), QStringLiteral("module-sine-source"),
                 QStringLiteral("source_name=sine"), QStringLiteral("rate=16000")});
    pulse.pactl({QStringLiteral("set-default-source"), QStringLiteral("sine")});
    auto stamping = std::make_unique<FirstBufferSource>(makePulseCaptureSource());
    source_ = stamping.get();
    recorder_ = std::make_unique<AudioRecorder>(std::move(stamping), [] { return std::nullopt; });
  }

  std::function<void()> onPress() {
    return [this] {
      started_ = Clock::now();
      recording_ = recorder_->start({}, {});
    };
  }
  std::function<void()> onRelease() {
    return [this] {
      recorder_->stop();
      recording_ = false;
    };
  }

  std::vector<double> measure(int presses, const std::function<void()>& press,
                              const std::function<void()>& release) {
    using namespace std::chrono_literals;
    std::vector<double> values;
    for (int i = 0; i < presses; ++i) {
      test::spin(100ms);
      source_->seen_ = false;
      const auto pressed = Clock::now();
      press();
      const auto captured = [&] {
        return recording_ && source_->seen_.load() && source_->first_ >= started_;
      };
      test::waitUntil(captured, 2s);
      if (captured() && started_ >= pressed) values.push_back(millisecondsSince(pressed, source_->first_));
      release();
      test::waitUntil([&] { return !recording_; }, 2s);
    }
    return values;
  }

 private:
  FirstBufferSource* source_ = nullptr;
  std::unique_ptr<AudioRecorder> recorder_;
  bool recording_ = false;
  Clock::time_point started_;
};

// The pellum desktop program on `server`, in this process's environment plus
// `extra`; returns once it says the key is ready (or after 10 s).
inline std::unique_ptr<QProcess> startDesktop(const server::test::ServerProcess& server,
                                              const std::string& token, const QString& config,
                                              const QString& pulse, const QProcessEnvironment& extra = {}) {
  using namespace std::chrono_literals;
  auto process = std::make_unique<QProcess>();
  auto environment = QProcessEnvironment::systemEnvironment();
  environment.insert(QStringLiteral("PELLUM_TRANSCRIBE_URL"),
                     QStringLiteral("http://127.0.0.1:%1").arg(server.transcribePort()));
  environment.insert(QStringLiteral("PELLUM_TOKEN"), QString::fromStdString(token));
  environment.insert(QStringLiteral("XDG_CONFIG_HOME"), config);
  environment.insert(QStringLiteral("PULSE_SERVER"), pulse);
  environment.insert(extra);
  process->setProcessEnvironment(environment);
  process->setProcessChannelMode(QProcess::MergedChannels);
  process->start(QStringLiteral(PELLUM_BINARY), {});
  QByteArray log;
  test::waitUntil(
      [&] {
        log += process->readAll();
        return log.contains("to dictate");
      },
      10s);
  return process;
}

}  // namespace pellum::bench
