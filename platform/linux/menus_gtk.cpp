#include "platform/linux/menus_gtk.h"

#include <gtk/gtk.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "platform/linux/gtk_ui.h"

namespace cx::platform {
namespace {

// The size of icons in menus, in pixels.
constexpr int kIconSize = 16;
// Room between an item's icon and its text.
constexpr int kIconSpacing = 6;

struct GObjectUnref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct LoopUnref {
  void operator()(GMainLoop* loop) const { g_main_loop_unref(loop); }
};

GdkDevice* pointer() {
  GdkDisplay* display = gdk_display_get_default();
  return display ? gdk_seat_get_pointer(gdk_display_get_default_seat(display)) : nullptr;
}

GObjectPtr<GdkPixbuf> pixbuf_of(const AppIcon& icon) {
  if (icon.argb.empty()) {
    // A name the theme does not know shows no icon.
    return GObjectPtr<GdkPixbuf>{gtk_icon_theme_load_icon(gtk_icon_theme_get_default(),
                                                          icon.theme_name.c_str(), kIconSize,
                                                          GTK_ICON_LOOKUP_FORCE_SIZE, nullptr)};
  }
  GObjectPtr<GdkPixbuf> full{gdk_pixbuf_new(
      GDK_COLORSPACE_RGB, TRUE, 8, static_cast<int>(icon.width), static_cast<int>(icon.height))};
  if (!full) return nullptr;
  guchar* pixels = gdk_pixbuf_get_pixels(full.get());
  const int stride = gdk_pixbuf_get_rowstride(full.get());
  for (uint32_t y = 0; y < icon.height; ++y) {
    guchar* out = pixels + static_cast<std::ptrdiff_t>(y) * stride;
    for (uint32_t x = 0; x < icon.width; ++x) {
      const uint32_t argb = icon.argb[std::size_t{y} * icon.width + x];
      *out++ = static_cast<guchar>(argb >> 16);
      *out++ = static_cast<guchar>(argb >> 8);
      *out++ = static_cast<guchar>(argb);
      *out++ = static_cast<guchar>(argb >> 24);
    }
  }
  if (icon.width == kIconSize && icon.height == kIconSize) return full;
  return GObjectPtr<GdkPixbuf>{
      gdk_pixbuf_scale_simple(full.get(), kIconSize, kIconSize, GDK_INTERP_BILINEAR)};
}

// With `icon_column`, items without an icon keep its room, so texts line up.
GtkWidget* widget_of(const MenuItem& item, bool icon_column) {
  if (item.separator) return gtk_separator_menu_item_new();
  // Only the checked item draws a check; the menu keeps room for it.
  GtkWidget* widget = item.checked ? gtk_check_menu_item_new() : gtk_menu_item_new();
  if (item.checked) gtk_check_menu_item_set_active(GTK_CHECK_MENU_ITEM(widget), TRUE);
  GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kIconSpacing);
  const GObjectPtr<GdkPixbuf> pixbuf = item.icon ? pixbuf_of(*item.icon) : nullptr;
  if (pixbuf || icon_column) {
    GtkWidget* image = gtk_image_new_from_pixbuf(pixbuf.get());
    gtk_widget_set_size_request(image, kIconSize, kIconSize);
    gtk_box_pack_start(GTK_BOX(box), image, FALSE, FALSE, 0);
  }
  // Names cut at a byte count may end inside a character.
  const std::unique_ptr<gchar, decltype(&g_free)> text{
      g_utf8_make_valid(item.text.data(), static_cast<gssize>(item.text.size())), &g_free};
  GtkWidget* label = gtk_label_new(text.get());
  gtk_label_set_xalign(GTK_LABEL(label), 0);
  gtk_box_pack_start(GTK_BOX(box), label, TRUE, TRUE, 0);
  gtk_container_add(GTK_CONTAINER(widget), box);
  return widget;
}

// One menu being tracked: its loop ends when the menu goes away, chosen or not.
struct Tracking {
  GMainLoop* loop;
  int16_t chosen = 0;
};

struct ItemChoice {
  Tracking* tracking;
  int16_t item;
};

class GtkMenus final : public Menus {
 public:
  bool mouse_position(GlobalPoint& where) override {
    GdkDevice* device = gtk_ready() ? pointer() : nullptr;
    if (!device) return false;
    int x = 0, y = 0;
    gdk_device_get_position(device, nullptr, &x, &y);
    where = {static_cast<int16_t>(x), static_cast<int16_t>(y)};
    return true;
  }

  int16_t pop_up(const Menu& menu, GlobalPoint where) override {
    // One menu at a time: a driver event that arrives while one is open
    // finds the pointer grabbed anyway.
    if (tracking_ || !gtk_ready()) return 0;
    const GObjectPtr<GtkWidget> popup{GTK_WIDGET(g_object_ref_sink(gtk_menu_new()))};
    atk_object_set_name(gtk_widget_get_accessible(popup.get()), menu.title.c_str());
    const std::unique_ptr<GMainLoop, LoopUnref> loop{g_main_loop_new(nullptr, FALSE)};
    Tracking tracking{loop.get()};
    std::vector<ItemChoice> choices(menu.items.size());
    const bool icon_column = std::any_of(menu.items.begin(), menu.items.end(),
                                         [](const MenuItem& item) { return item.icon != nullptr; });
    for (std::size_t i = 0; i < menu.items.size(); ++i) {
      GtkWidget* widget = widget_of(menu.items[i], icon_column);
      choices[i] = {&tracking, static_cast<int16_t>(i + 1)};
      g_signal_connect(widget, "activate", G_CALLBACK(+[](GtkMenuItem*, ItemChoice* choice) {
                         choice->tracking->chosen = choice->item;
                       }),
                       &choices[i]);
      gtk_menu_shell_append(GTK_MENU_SHELL(popup.get()), widget);
    }
    // An item is activated after the menu is deactivated, in the same
    // dispatch, so the loop still sees the choice.
    g_signal_connect(popup.get(), "deactivate",
                     G_CALLBACK(+[](GtkMenuShell*, Tracking* t) { g_main_loop_quit(t->loop); }),
                     &tracking);
    gtk_widget_show_all(popup.get());
    const GdkRectangle at{where.h, where.v, 1, 1};
    // The driver's button press is not a GTK event: the menu learns the
    // pointer to grab from a stand-in.
    const std::unique_ptr<GdkEvent, decltype(&gdk_event_free)> trigger{gdk_event_new(GDK_NOTHING),
                                                                       &gdk_event_free};
    gdk_event_set_device(trigger.get(), pointer());
    gtk_menu_popup_at_rect(GTK_MENU(popup.get()), gdk_get_default_root_window(), &at,
                           GDK_GRAVITY_NORTH_WEST, GDK_GRAVITY_NORTH_WEST, trigger.get());
    // Without the pointer and keyboard grab GTK does not show the menu.
    if (gtk_widget_get_visible(popup.get())) {
      tracking_ = true;
      g_main_loop_run(loop.get());
      tracking_ = false;
    }
    gtk_widget_destroy(popup.get());
    return tracking.chosen;
  }

  void warp_cursor(GlobalPoint where) override {
    GdkDevice* device = gtk_ready() ? pointer() : nullptr;
    if (!device) return;
    gdk_device_warp(device, gdk_display_get_default_screen(gdk_display_get_default()), where.h,
                    where.v);
    gdk_display_flush(gdk_display_get_default());
  }

  void beep() override {
    if (!gtk_ready()) return;
    gdk_display_beep(gdk_display_get_default());
    gdk_display_flush(gdk_display_get_default());
  }

 private:
  bool tracking_ = false;
};

}  // namespace

Menus& gtk_menus() {
  static GtkMenus menus;
  return menus;
}

}  // namespace cx::platform
