// The agent's dialogs in GTK 3, inside the desktop helper bundle. A dialog's
// pause runs the main loop, since an X window must answer its exposures to
// stay drawn.
#include <gtk/gtk.h>

#include <memory>
#include <string>

#include "platform/linux/dialogs_gtk.h"
#include "platform/linux/gtk_ui.h"

namespace cx::platform {
namespace {

constexpr int kMsecPerTick = 1000 / 60;
constexpr int kBorder = 16;
constexpr int kSpacing = 12;
constexpr char kWindowTitle[] = "Corvex Background";
constexpr char kIconName[] = "dialog-information";

GtkWidget* label(const std::string& text, const char* markup_format) {
  // Browsers' titles are not always valid UTF-8, which GTK requires.
  gchar* valid = g_utf8_make_valid(text.c_str(), static_cast<gssize>(text.size()));
  gchar* markup = g_markup_printf_escaped(markup_format, valid);
  GtkWidget* widget = gtk_label_new(nullptr);
  gtk_label_set_markup(GTK_LABEL(widget), markup);
  gtk_label_set_xalign(GTK_LABEL(widget), 0.0F);
  g_free(markup);
  g_free(valid);
  return widget;
}

class GtkNotice final : public DialogWindow {
 public:
  explicit GtkNotice(const CaptureNotice& notice) : window_(gtk_window_new(GTK_WINDOW_TOPLEVEL)) {
    GtkWindow* window = GTK_WINDOW(window_);
    gtk_window_set_title(window, kWindowTitle);
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_DIALOG);
    gtk_window_set_keep_above(window, TRUE);
    gtk_window_set_resizable(window, FALSE);
    gtk_window_set_position(window, GTK_WIN_POS_CENTER);
    // The notice goes when the capture is done with it, never before.
    gtk_window_set_deletable(window, FALSE);
    g_signal_connect(window_, "delete-event", G_CALLBACK(gtk_true), nullptr);
    gtk_container_set_border_width(GTK_CONTAINER(window_), kBorder);
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, kSpacing);
    GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, kSpacing / 2);
    gtk_box_pack_start(GTK_BOX(row), gtk_image_new_from_icon_name(kIconName, GTK_ICON_SIZE_DIALOG),
                       FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(texts), label(notice.headline, "<b>%s</b>"), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(texts), label(notice.title, "%s"), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(texts), label(notice.url, "<small>%s</small>"), FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(row), texts, TRUE, TRUE, 0);
    gtk_container_add(GTK_CONTAINER(window_), row);
    gtk_widget_show_all(window_);
    gtk_window_present(window);
  }

  ~GtkNotice() override {
    gtk_widget_destroy(window_);
    gdk_display_flush(gdk_display_get_default());
  }

  GtkNotice(const GtkNotice&) = delete;
  GtkNotice& operator=(const GtkNotice&) = delete;

  void pause(int ticks) override {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    GSource* timeout = g_timeout_source_new(static_cast<guint>(ticks * kMsecPerTick));
    g_source_set_callback(
        timeout,
        [](gpointer data) {
          g_main_loop_quit(static_cast<GMainLoop*>(data));
          return G_SOURCE_REMOVE;
        },
        loop, nullptr);
    g_source_attach(timeout, nullptr);
    g_main_loop_run(loop);
    g_source_destroy(timeout);
    g_source_unref(timeout);
    g_main_loop_unref(loop);
  }

 private:
  GtkWidget* window_;
};

class GtkDialogs final : public Dialogs {
 public:
  std::unique_ptr<DialogWindow> open_capture_notice(const CaptureNotice& notice) override {
    if (!gtk_ready()) return nullptr;
    return std::make_unique<GtkNotice>(notice);
  }
};

}  // namespace

Dialogs& gtk_dialogs() {
  static GtkDialogs dialogs;
  return dialogs;
}

}  // namespace cx::platform
