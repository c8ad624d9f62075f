#pragma once

#include <string>

struct xcb_connection_t;

namespace pellum::test {

// Presses and releases keys, and clicks, on the X server as a user would,
// through XTest.
class XTestKeyboard {
 public:
  XTestKeyboard();
  ~XTestKeyboard();
  XTestKeyboard(const XTestKeyboard&) = delete;
  XTestKeyboard& operator=(const XTestKeyboard&) = delete;

  bool isConnected() const { return connection_ != nullptr; }

  // By keysym name: "Control_R", "a", "Shift_L".
  bool press(const std::string& keysymName);
  bool release(const std::string& keysymName);
  bool tap(const std::string& keysymName);

  // By keycode, whatever the keymap says it types now.
  bool pressKeycode(int code) {
    return code > 0 && fakeRaw(2 /* KeyPress */, static_cast<unsigned char>(code));
  }
  bool releaseKeycode(int code) {
    return code > 0 && fakeRaw(3 /* KeyRelease */, static_cast<unsigned char>(code));
  }

  // The keycode that types `keysymName` at its first level, or -1.
  int keycodeOf(const std::string& keysymName) { return keycodeFor(keysymName); }

  // Whether the key's keycode is down on the server right now.
  bool isDown(const std::string& keysymName);

  // Moves the pointer to (x, y) on the screen, then presses and releases
  // `button` there (1 left, 2 middle, 3 right).
  bool click(int x, int y, int button = 1);

 private:
  int keycodeFor(const std::string& keysymName);
  bool fake(unsigned char type, const std::string& keysymName);
  bool fakeRaw(unsigned char type, unsigned char detail, int x = 0, int y = 0);

  xcb_connection_t* connection_ = nullptr;
};

}  // namespace pellum::test
