#include "support/x_windows.h"

#include <cstdlib>
#include <memory>
#include <string_view>

#include <xcb/xcb.h>

namespace pellum::test {
namespace {

template <class T>
using Reply = std::unique_ptr<T, decltype(&free)>;

// WM_CLASS holds "instance\0class\0".
bool hasClass(xcb_connection_t* connection, xcb_window_t window, const std::string& name) {
  Reply<xcb_get_property_reply_t> wmClass(
      xcb_get_property_reply(
          connection, xcb_get_property(connection, 0, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 0, 64),
          nullptr),
      &free);
  if (!wmClass) return false;
  const auto* value = static_cast<const char*>(xcb_get_property_value(wmClass.get()));
  const std::string_view all(value, static_cast<std::size_t>(xcb_get_property_value_length(wmClass.get())));
  const std::string_view instance = all.substr(0, all.find('\0'));
  const std::string_view klass =
      instance.size() < all.size()
          ? all.substr(instance.size() + 1, all.find('\0', instance.size() + 1) - instance.size() - 1)
          : std::string_view();
  return instance == name || klass == name;
}

}  // namespace

std::vector<std::uint32_t> viewableWindowsOf(xcb_connection_t* connection, const std::string& name) {
  std::vector<std::uint32_t> windows;
  const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
  Reply<xcb_query_tree_reply_t> tree(
      xcb_query_tree_reply(connection, xcb_query_tree(connection, root), nullptr), &free);
  if (!tree) return windows;
  const xcb_window_t* children = xcb_query_tree_children(tree.get());
  for (int i = 0; i < xcb_query_tree_children_length(tree.get()); ++i) {
    Reply<xcb_get_window_attributes_reply_t> attributes(
        xcb_get_window_attributes_reply(connection, xcb_get_window_attributes(connection, children[i]),
                                        nullptr),
        &free);
    if (!attributes || attributes->map_state != XCB_MAP_STATE_VIEWABLE) continue;
    if (hasClass(connection, children[i], name)) windows.push_back(children[i]);
  }
  return windows;
}

}  // namespace pellum::test
