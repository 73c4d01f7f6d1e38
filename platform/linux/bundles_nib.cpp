// The interface file is a GtkBuilder document. Opening it only reads the
// objects it declares (GLib's markup parser), so the check needs no display.
#include <glib.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "platform/bundles.h"

namespace cx::platform {
namespace {

struct ParseState {
  std::vector<NibReference::Object> objects;
  bool saw_interface = false;
};

void start_element(GMarkupParseContext*, const gchar* element, const gchar** names,
                   const gchar** values, gpointer data, GError**) {
  auto* state = static_cast<ParseState*>(data);
  if (std::strcmp(element, "interface") == 0) state->saw_interface = true;
  if (std::strcmp(element, "object") != 0) return;
  NibReference::Object object;
  for (size_t i = 0; names[i]; ++i) {
    if (std::strcmp(names[i], "id") == 0) object.id = values[i];
    if (std::strcmp(names[i], "class") == 0) object.class_name = values[i];
  }
  state->objects.push_back(std::move(object));
}

struct ContextDeleter {
  void operator()(GMarkupParseContext* c) const { g_markup_parse_context_free(c); }
};
struct TextDeleter {
  void operator()(gchar* p) const { g_free(p); }
};

bool parse_interface(const std::string& path, ParseState& state) {
  gchar* raw = nullptr;
  gsize length = 0;
  if (!g_file_get_contents(path.c_str(), &raw, &length, nullptr)) return false;
  std::unique_ptr<gchar, TextDeleter> text(raw);
  GMarkupParser parser{};
  parser.start_element = start_element;
  std::unique_ptr<GMarkupParseContext, ContextDeleter> context(
      g_markup_parse_context_new(&parser, G_MARKUP_DEFAULT_FLAGS, &state, nullptr));
  GError* error = nullptr;
  const bool ok = g_markup_parse_context_parse(context.get(), text.get(),
                                               static_cast<gssize>(length), &error) &&
                  g_markup_parse_context_end_parse(context.get(), &error);
  if (error) g_error_free(error);
  return ok && state.saw_interface;
}

}  // namespace

const NibReference::Object* NibReference::find(std::string_view id) const {
  for (const auto& o : objects_)
    if (o.id == id) return &o;
  return nullptr;
}

int32_t create_nib_reference(const Bundle& bundle, std::string_view name,
                             std::unique_ptr<NibReference>& nib) {
  nib.reset();
  const auto path = bundle.resource_path(name, "ui");
  ParseState state;
  if (!path || !parse_interface(*path, state)) return nib_status::cant_find_nib_file;
  nib = std::make_unique<NibReference>(*path, std::move(state.objects));
  return 0;
}

int32_t set_menu_bar_from_nib(const NibReference& nib, std::string_view entry) {
  const auto* object = nib.find(entry);
  if (!object) return nib_status::cant_find_object;
  if (object->class_name != "GtkMenuBar") return nib_status::object_not_of_requested_type;
  return 0;
}

}  // namespace cx::platform
