// Pasting on X11: the clipboard through QClipboard (marked so clipboard
// histories skip it), the keystroke through XTest on a connection of our
// own, after releasing any modifier the user still holds so the target sees
// exactly its paste keys: Ctrl+V, Ctrl+Shift+V in a terminal, Shift+Insert
// with the primary selection lent as well in xterm and rxvt.

#include <QClipboard>
#include <QGuiApplication>
#include <QMimeData>
#include <QPointer>
#include <QTimer>
#include <cstdlib>
#include <optional>
#include <vector>

#include <xcb/xcb.h>
#include <xcb/xtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "keyboard/paste_shortcut.h"
#include "keyboard/text_inserter_x11.h"

namespace pellum {
namespace {

template <class Reply>
using XcbReply = std::unique_ptr<Reply, decltype(&free)>;

class X11TextInserter : public TextInserter {
 public:
  X11TextInserter() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_)) {
      xcb_disconnect(connection_);
      connection_ = nullptr;
      return;
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  }
  ~X11TextInserter() override {
    if (connection_) xcb_disconnect(connection_);
  }

  void insert(const std::string& text) override {
    const PasteKeys keys = connection_ ? focusedWindowPasteKeys() : PasteKeys::controlV;
    lend(QClipboard::Clipboard, text);
    // xterm and rxvt paste the primary selection: lend that too.
    if (keys == PasteKeys::shiftInsertPrimary) lend(QClipboard::Selection, text);
    postPaste(keys);
  }

 private:
  // Puts `text` on `mode` for the paste, and the old text back afterwards.
  static void lend(QClipboard::Mode mode, const std::string& text) {
    QClipboard* clipboard = QGuiApplication::clipboard();
    const QMimeData* current = clipboard->mimeData(mode);
    std::optional<QString> saved;
    if (current && current->hasText()) saved = current->text();

    auto* data = new QMimeData;
    data->setText(QString::fromStdString(text));
    // Clipboard managers (Klipper, GPaste, CopyQ) leave such entries out of
    // their history: a dictation is not something the user copied.
    data->setData(QStringLiteral("x-kde-passwordManagerHint"), QByteArray("secret"));
    clipboard->setMimeData(data, mode);

    QTimer::singleShot(kRestoreDelayMs, clipboard, [clipboard, saved, mode] {
      if (saved) {
        clipboard->setText(*saved, mode);
      } else {
        clipboard->clear(mode);
      }
    });
  }

  std::optional<xcb_keycode_t> keycodeFor(xcb_keysym_t keysym) {
    const xcb_setup_t* setup = xcb_get_setup(connection_);
    const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
    XcbReply<xcb_get_keyboard_mapping_reply_t> mapping(
        xcb_get_keyboard_mapping_reply(
            connection_, xcb_get_keyboard_mapping(connection_, setup->min_keycode, count), nullptr),
        &free);
    if (!mapping) return std::nullopt;
    const xcb_keysym_t* syms = xcb_get_keyboard_mapping_keysyms(mapping.get());
    const int perCode = mapping->keysyms_per_keycode;
    for (int code = 0; code < count; ++code) {
      for (int level = 0; level < perCode && level < 2; ++level) {
        if (syms[code * perCode + level] == keysym)
          return static_cast<xcb_keycode_t>(setup->min_keycode + code);
      }
    }
    return std::nullopt;
  }

  void fake(uint8_t type, xcb_keycode_t code) {
    xcb_test_fake_input(connection_, type, code, XCB_CURRENT_TIME, root_, 0, 0, 0);
  }

  // Modifier keys the user still holds, so they can be let go first.
  std::vector<xcb_keycode_t> heldModifiers() {
    std::vector<xcb_keycode_t> held;
    XcbReply<xcb_query_keymap_reply_t> keymap(
        xcb_query_keymap_reply(connection_, xcb_query_keymap(connection_), nullptr), &free);
    XcbReply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(connection_, xcb_get_modifier_mapping(connection_), nullptr), &free);
    if (!keymap || !modifiers) return held;
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int total = xcb_get_modifier_mapping_keycodes_length(modifiers.get());
    for (int i = 0; i < total; ++i) {
      const xcb_keycode_t code = codes[i];
      if (code != 0 && (keymap->keys[code / 8] & (1 << (code % 8)))) held.push_back(code);
    }
    return held;
  }

  PasteKeys focusedWindowPasteKeys() {
    XcbReply<xcb_get_input_focus_reply_t> focus(
        xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr), &free);
    if (!focus) return PasteKeys::controlV;
    // The focus is often a child of the application's top-level window;
    // walk up until a window names its class.
    xcb_window_t window = focus->focus;
    for (int depth = 0; depth < 8 && window > XCB_INPUT_FOCUS_POINTER_ROOT && window != root_; ++depth) {
      XcbReply<xcb_get_property_reply_t> property(
          xcb_get_property_reply(
              connection_,
              xcb_get_property(connection_, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 256), nullptr),
          &free);
      if (property && property->value_len > 0) {
        const auto* value = static_cast<const char*>(xcb_get_property_value(property.get()));
        const std::string both(value,
                               static_cast<std::size_t>(xcb_get_property_value_length(property.get())));
        const std::string instance = both.substr(0, both.find('\0'));
        const std::string windowClass = both.size() > instance.size() + 1
                                            ? std::string(both.c_str() + instance.size() + 1)
                                            : std::string();
        return pasteKeysFor(instance, windowClass);
      }
      XcbReply<xcb_query_tree_reply_t> tree(
          xcb_query_tree_reply(connection_, xcb_query_tree(connection_, window), nullptr), &free);
      if (!tree) return PasteKeys::controlV;
      window = tree->parent;
    }
    return PasteKeys::controlV;
  }

  void postPaste(PasteKeys keys) {
    if (!connection_) return;
    const auto control = keycodeFor(XKB_KEY_Control_L);
    const auto shift = keycodeFor(XKB_KEY_Shift_L);
    const auto v = keycodeFor(XKB_KEY_v);
    const auto insert = keycodeFor(XKB_KEY_Insert);
    for (xcb_keycode_t code : heldModifiers()) fake(XCB_KEY_RELEASE, code);
    std::vector<xcb_keycode_t> chord;
    if (keys == PasteKeys::shiftInsertPrimary && shift && insert) {
      chord = {*shift, *insert};
    } else if (keys == PasteKeys::controlShiftV && control && shift && v) {
      chord = {*control, *shift, *v};
    } else if (control && v) {
      chord = {*control, *v};
    }
    for (xcb_keycode_t code : chord) fake(XCB_KEY_PRESS, code);
    for (auto it = chord.rbegin(); it != chord.rend(); ++it) fake(XCB_KEY_RELEASE, *it);
    xcb_flush(connection_);
  }

  xcb_connection_t* connection_;
  xcb_window_t root_ = 0;
};

}  // namespace

std::unique_ptr<TextInserter> makeX11TextInserter() { return std::make_unique<X11TextInserter>(); }

}  // namespace pellum
