#include "tests/support/selection_reader.h"

#include <poll.h>
#include <xcb/xcb.h>

#include <cstdint>
#include <cstdlib>
#include <memory>

namespace cx::test {
namespace {

template <typename T>
using Reply = std::unique_ptr<T, decltype(&std::free)>;

class Reader {
 public:
  explicit Reader(const std::string& display) : conn_(xcb_connect(display.c_str(), nullptr)) {}
  ~Reader() { xcb_disconnect(conn_); }

  std::optional<SelectionValue> read(const std::string& target) {
    if (xcb_connection_has_error(conn_)) return std::nullopt;
    const xcb_window_t window = xcb_generate_id(conn_);
    const uint32_t mask = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(conn_, 0, window, xcb_setup_roots_iterator(xcb_get_setup(conn_)).data->root,
                      0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, 0, XCB_CW_EVENT_MASK, &mask);
    const xcb_atom_t property = atom("CX_PASTE");
    xcb_convert_selection(conn_, window, atom("CLIPBOARD"), atom(target), property,
                          XCB_CURRENT_TIME);
    auto notify = next_event(XCB_SELECTION_NOTIFY);
    if (!notify ||
        reinterpret_cast<xcb_selection_notify_event_t*>(notify.get())->property == XCB_NONE)
      return std::nullopt;
    SelectionValue value;
    xcb_atom_t type = take(window, property, value.data);
    if (type == atom("INCR")) {
      // Each deletion asks for the next chunk; an empty one ends the transfer.
      value.data.clear();
      for (std::size_t before = 1; before != value.data.size();) {
        before = value.data.size();
        if (!next_event(XCB_PROPERTY_NOTIFY)) return std::nullopt;
        take(window, property, value.data);
      }
    }
    value.type = name(type);
    if (type == XCB_ATOM_ATOM) value.data = atom_names(value.data);
    return value;
  }

 private:
  xcb_atom_t atom(const std::string& name) {
    Reply<xcb_intern_atom_reply_t> reply(
        xcb_intern_atom_reply(conn_, xcb_intern_atom(conn_, 0, uint16_t(name.size()), name.data()),
                              nullptr),
        &std::free);
    return reply ? reply->atom : XCB_NONE;
  }
  std::string name(xcb_atom_t a) {
    Reply<xcb_get_atom_name_reply_t> reply(
        xcb_get_atom_name_reply(conn_, xcb_get_atom_name(conn_, a), nullptr), &std::free);
    if (!reply) return {};
    return {xcb_get_atom_name_name(reply.get()),
            std::size_t(xcb_get_atom_name_name_length(reply.get()))};
  }
  std::string atom_names(const std::string& bytes) {
    std::string names;
    for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4)
      names += name(*reinterpret_cast<const xcb_atom_t*>(bytes.data() + i)) + " ";
    return names;
  }
  // Appends the property's value and deletes it; its type.
  xcb_atom_t take(xcb_window_t window, xcb_atom_t property, std::string& out) {
    Reply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(
            conn_, xcb_get_property(conn_, 1, window, property, XCB_ATOM_ANY, 0, UINT32_MAX / 4),
            nullptr),
        &std::free);
    if (!reply) return XCB_NONE;
    const auto* bytes = static_cast<const char*>(xcb_get_property_value(reply.get()));
    out.append(bytes, std::size_t(xcb_get_property_value_length(reply.get())));
    return reply->type;
  }
  Reply<xcb_generic_event_t> next_event(uint8_t type) {
    xcb_flush(conn_);
    pollfd p{xcb_get_file_descriptor(conn_), POLLIN, 0};
    for (;;) {
      Reply<xcb_generic_event_t> event(xcb_poll_for_event(conn_), &std::free);
      if (event && (event->response_type & 0x7f) == type &&
          (type != XCB_PROPERTY_NOTIFY ||
           reinterpret_cast<xcb_property_notify_event_t*>(event.get())->state ==
               XCB_PROPERTY_NEW_VALUE))
        return event;
      if (!event && poll(&p, 1, 5000) != 1) return {nullptr, &std::free};
    }
  }

  xcb_connection_t* conn_;
};

}  // namespace

std::optional<SelectionValue> read_clipboard(const std::string& display,
                                             const std::string& target) {
  return Reader(display).read(target);
}

}  // namespace cx::test
