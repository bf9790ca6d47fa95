#include "gimp/filter_dialog.h"

#include <libgimp/gimpui.h>

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "dialog/main_dialog.h"
#include "gimp/drawable_pixels.h"
#include "gimp/filter_run.h"
#include "pihost/plugin_module.h"

namespace {

constexpr int RESPONSE_RESET = 1;
// Pixels read round the visible part, so the preview's edges see what the
// final run sees there (the filter's tiles read 41 pixels round their core).
constexpr gint PREVIEW_MARGIN = 48;

// Indices of the values, in the order of the script keys.
enum ValueIndex {
  V_EDGE_STYLE, V_SMOOTHING, V_TWEAKER, V_EDGE_EXTENT, V_SOURCE, V_COLORIZE,
  V_CHROME_STYLE, V_ANGLE, V_REMOVE_NOISE, V_GLUE, V_FLIP
};

struct DialogUi {
  gint32 image = -1;
  gint32 drawable = -1;
  GimpFilterValues* values = nullptr;
  PluginModule module;
  DrawableLayout layout;
  GtkWidget* dialog = nullptr;
  GtkWidget* preview = nullptr;
  GtkWidget* combos[SCRIPT_KEY_COUNT] = {};
  GtkWidget* checks[SCRIPT_KEY_COUNT] = {};
  GtkObject* adjustments[SCRIPT_KEY_COUNT] = {};
  GtkWidget* chromeLabel = nullptr;
  // Preview renders so far and a checksum of the last one, for the tests.
  int renders = 0;
  uint32_t lastPreviewSum = 0;
  // The test's steps.
  std::string testFolder;
  int testStage = 0;
  int rendersAtChange = 0;
  uint32_t firstPreviewSum = 0;
};

uint32_t checksum(const std::vector<uint8_t>& bytes) {
  uint32_t sum = 2166136261u;
  for (uint8_t b : bytes) sum = (sum ^ b) * 16777619u;
  return sum;
}

// Renders the visible part of the drawable through the module and shows it.
void renderPreview(GimpPreview* preview, DialogUi* ui) {
  gint x = 0, y = 0, width = 0, height = 0;
  gimp_preview_get_position(preview, &x, &y);
  gimp_preview_get_size(preview, &width, &height);
  const gint drawableWidth = gimp_drawable_width(ui->drawable);
  const gint drawableHeight = gimp_drawable_height(ui->drawable);
  const gint left = std::max(0, x - PREVIEW_MARGIN), top = std::max(0, y - PREVIEW_MARGIN);
  const gint right = std::min(drawableWidth, x + width + PREVIEW_MARGIN);
  const gint bottom = std::min(drawableHeight, y + height + PREVIEW_MARGIN);
  HostImage picture;
  readDrawableRect(ui->drawable, ui->layout, left, top, right - left, bottom - top, &picture);

  // The filter works on the selected part of what is visible.
  gint sx = 0, sy = 0, sw = 0, sh = 0;
  const bool selected = gimp_drawable_mask_intersect(ui->drawable, &sx, &sy, &sw, &sh);
  const gint fl = std::max(x, sx), ft = std::max(y, sy);
  const gint fr = std::min(x + width, sx + sw), fb = std::min(y + height, sy + sh);
  if (ui->module.entry && selected && fl < fr && ft < fb) {
    std::string message;
    runFilterOverPicture(ui->module.entry, &picture, fl - left, ft - top, fr - left, fb - top, *ui->values,
                         FilterRunHooks{}, &message);
  }

  // The visible part at 8 bits, which is what the preview area draws.
  const size_t pixelBytes = pictureRowBytes(picture) / size_t(picture.width);
  const size_t displayPixelBytes = size_t(imagePlanes(picture));
  std::vector<uint8_t> shown(size_t(width) * size_t(height) * displayPixelBytes);
  const Babl* fish = babl_fish(ui->layout.format, ui->layout.displayFormat);
  for (gint row = 0; row < height; ++row) {
    const uint8_t* from = static_cast<const uint8_t*>(pictureSamples(picture)) +
                          size_t(y + row - top) * pictureRowBytes(picture) + size_t(x - left) * pixelBytes;
    babl_process(fish, from, shown.data() + size_t(row) * size_t(width) * displayPixelBytes, width);
  }
  gimp_preview_draw_buffer(preview, shown.data(), gint(size_t(width) * displayPixelBytes));
  ui->renders++;
  ui->lastPreviewSum = checksum(shown);
}

void invalidate(DialogUi* ui) { gimp_preview_invalidate(GIMP_PREVIEW(ui->preview)); }

// The controls the chosen style uses, as the filter's own dialog enables them.
void updateEnabling(DialogUi* ui) {
  const int32_t style = ui->values->value[V_EDGE_STYLE];
  gimp_scale_entry_set_sensitive(ui->adjustments[V_ANGLE], edgeStyleUsesAngle(style));
  gtk_widget_set_sensitive(ui->combos[V_CHROME_STYLE], edgeStyleUsesChromeStyle(style));
  gtk_widget_set_sensitive(ui->chromeLabel, edgeStyleUsesChromeStyle(style));
}

void comboChanged(GtkWidget* combo, DialogUi* ui) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
    if (ui->combos[i] == combo) gimp_int_combo_box_get_active(GIMP_INT_COMBO_BOX(combo), &ui->values->value[i]);
  updateEnabling(ui);
  invalidate(ui);
}

void checkToggled(GtkWidget* check, DialogUi* ui) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
    if (ui->checks[i] == check) ui->values->value[i] = gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check)) ? 1 : 0;
  invalidate(ui);
}

void adjustmentChanged(GtkAdjustment* adjustment, DialogUi* ui) {
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i)
    if (ui->adjustments[i] == GTK_OBJECT(adjustment))
      ui->values->value[i] = int32_t(gtk_adjustment_get_value(adjustment) + 0.5);
  invalidate(ui);
}

// Every control from the values, after Reset.
void showValues(DialogUi* ui) {
  const GimpFilterValues shown = *ui->values;
  for (int i = 0; i < SCRIPT_KEY_COUNT; ++i) {
    if (ui->combos[i]) gimp_int_combo_box_set_active(GIMP_INT_COMBO_BOX(ui->combos[i]), shown.value[i]);
    if (ui->checks[i]) gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(ui->checks[i]), shown.value[i] != 0);
    if (ui->adjustments[i]) gtk_adjustment_set_value(GTK_ADJUSTMENT(ui->adjustments[i]), shown.value[i]);
  }
  *ui->values = shown;
  updateEnabling(ui);
  invalidate(ui);
}

GtkWidget* addCombo(DialogUi* ui, GtkTable* table, int row, const char* label, int index) {
  const ScriptKey* key = scriptKeyAt(index);
  const Enumeration* e = findEnumeration(key->enumerationType);
  GtkWidget* combo = gimp_int_combo_box_new_array(0, nullptr);
  for (int32_t n = 1; e && n <= e->count; ++n) {
    const char* name = enumerationName(key->enumerationType, n);
    const std::string text = name ? name : "mode " + std::to_string(n);  // two glue modes have no name
    gimp_int_combo_box_append(GIMP_INT_COMBO_BOX(combo), GIMP_INT_STORE_VALUE, n, GIMP_INT_STORE_LABEL,
                              text.c_str(), -1);
  }
  gimp_int_combo_box_set_active(GIMP_INT_COMBO_BOX(combo), ui->values->value[index]);
  g_signal_connect(combo, "changed", G_CALLBACK(comboChanged), ui);
  ui->combos[index] = combo;
  return gimp_table_attach_aligned(table, 0, row, label, 0.0, 0.5, combo, 2, FALSE);
}

void addScale(DialogUi* ui, GtkTable* table, int row, const char* label, int index, double high, double page) {
  GtkObject* adjustment = gimp_scale_entry_new(table, 0, row, label, 200, 5, ui->values->value[index], 0, high, 1,
                                               page, 0, TRUE, 0, 0, nullptr, nullptr);
  g_signal_connect(adjustment, "value-changed", G_CALLBACK(adjustmentChanged), ui);
  ui->adjustments[index] = adjustment;
}

void addCheck(DialogUi* ui, GtkWidget* box, const char* label, int index) {
  GtkWidget* check = gtk_check_button_new_with_mnemonic(label);
  gtk_toggle_button_set_active(GTK_TOGGLE_BUTTON(check), ui->values->value[index] != 0);
  g_signal_connect(check, "toggled", G_CALLBACK(checkToggled), ui);
  gtk_box_pack_start(GTK_BOX(box), check, FALSE, FALSE, 0);
  gtk_widget_show(check);
  ui->checks[index] = check;
}

void buildDialog(DialogUi* ui) {
  ui->dialog = gimp_dialog_new("Marrowline", "marrowline-gimp", nullptr, GtkDialogFlags(0), gimp_standard_help_func,
                               "plug-in-marrowline", "_Reset", RESPONSE_RESET, "_Cancel", GTK_RESPONSE_CANCEL,
                               "_OK", GTK_RESPONSE_OK, nullptr);
  gtk_dialog_set_alternative_button_order(GTK_DIALOG(ui->dialog), RESPONSE_RESET, GTK_RESPONSE_OK,
                                           GTK_RESPONSE_CANCEL, -1);
  gimp_window_set_transient(GTK_WINDOW(ui->dialog));

  GtkWidget* main = gtk_hbox_new(FALSE, 12);
  gtk_container_set_border_width(GTK_CONTAINER(main), 12);
  gtk_box_pack_start(GTK_BOX(gtk_dialog_get_content_area(GTK_DIALOG(ui->dialog))), main, TRUE, TRUE, 0);

  ui->preview = gimp_drawable_preview_new_from_drawable_id(ui->drawable);
  gtk_box_pack_start(GTK_BOX(main), ui->preview, TRUE, TRUE, 0);
  g_signal_connect(ui->preview, "invalidated", G_CALLBACK(renderPreview), ui);

  GtkWidget* side = gtk_vbox_new(FALSE, 12);
  gtk_box_pack_start(GTK_BOX(main), side, FALSE, FALSE, 0);
  GtkTable* table = GTK_TABLE(gtk_table_new(9, 3, FALSE));
  gtk_table_set_col_spacings(table, 6);
  gtk_table_set_row_spacings(table, 6);
  gtk_box_pack_start(GTK_BOX(side), GTK_WIDGET(table), FALSE, FALSE, 0);

  addCombo(ui, table, 0, "_Edge style:", V_EDGE_STYLE);
  addScale(ui, table, 1, "_Smoothing:", V_SMOOTHING, 100, 10);
  addScale(ui, table, 2, "_Tweaker:", V_TWEAKER, 100, 10);
  addCombo(ui, table, 3, "Edge e_xtent:", V_EDGE_EXTENT);
  addCombo(ui, table, 4, "S_ource:", V_SOURCE);
  ui->chromeLabel = addCombo(ui, table, 5, "C_hrome style:", V_CHROME_STYLE);
  addScale(ui, table, 6, "_Angle:", V_ANGLE, 359, 15);
  addCombo(ui, table, 7, "_Glue:", V_GLUE);

  GtkWidget* checks = gtk_hbox_new(FALSE, 12);
  gtk_box_pack_start(GTK_BOX(side), checks, FALSE, FALSE, 0);
  addCheck(ui, checks, "_Colorize", V_COLORIZE);
  addCheck(ui, checks, "_Remove noise", V_REMOVE_NOISE);
  addCheck(ui, checks, "_Flip", V_FLIP);
  updateEnabling(ui);
  gtk_widget_show_all(ui->dialog);
}

// --- The test's steps ----------------------------------------------------------

void writeTestReport(DialogUi* ui) {
  GdkWindow* window = gtk_widget_get_window(ui->dialog);
  gint width = 0, height = 0;
  gdk_drawable_get_size(GDK_DRAWABLE(window), &width, &height);
  GdkPixbuf* shot = gdk_pixbuf_get_from_drawable(nullptr, GDK_DRAWABLE(window), nullptr, 0, 0, 0, 0, width, height);
  if (shot) {
    gdk_pixbuf_save(shot, (ui->testFolder + "/dialog.png").c_str(), "png", nullptr, nullptr);
    g_object_unref(shot);
  }
  if (FILE* report = std::fopen((ui->testFolder + "/preview.txt").c_str(), "w")) {
    std::fprintf(report, "%u %u\n", ui->firstPreviewSum, ui->lastPreviewSum);
    std::fclose(report);
  }
}

gboolean testStep(gpointer data) {
  auto* ui = static_cast<DialogUi*>(data);
  switch (ui->testStage) {
    case 0:  // the first preview is there: move a slider
      if (ui->renders == 0) return TRUE;
      ui->firstPreviewSum = ui->lastPreviewSum;
      ui->rendersAtChange = ui->renders;
      gtk_adjustment_set_value(GTK_ADJUSTMENT(ui->adjustments[V_SMOOTHING]), 60);
      ui->testStage = 1;
      return TRUE;
    case 1:  // the preview has followed; one more round for the screen to show it
      if (ui->renders == ui->rendersAtChange) return TRUE;
      ui->testStage = 2;
      return TRUE;
    default:
      writeTestReport(ui);
      gtk_dialog_response(GTK_DIALOG(ui->dialog), GTK_RESPONSE_OK);
      return FALSE;
  }
}

}  // namespace

bool runFilterDialog(gint32 image, gint32 drawable, GimpFilterValues* values) {
  gimp_ui_init("marrowline-gimp", FALSE);
  DialogUi ui;
  ui.image = image;
  ui.drawable = drawable;
  ui.values = values;
  ui.layout = drawableLayout(image, drawable);
  std::string error;
  // Without the module the dialog still works; the preview shows the drawable.
  if (!loadPluginModule(defaultPluginPath(), &ui.module, &error)) g_message("Marrowline: %s", error.c_str());
  buildDialog(&ui);

  const char* testFolder = g_getenv("MARROWLINE_GIMP_DIALOG_TEST");
  if (testFolder && *testFolder) {
    ui.testFolder = testFolder;
    g_timeout_add(200, testStep, &ui);
  }

  const GimpFilterValues before = *values;
  bool accepted = false;
  for (;;) {
    const gint response = gimp_dialog_run(GIMP_DIALOG(ui.dialog));
    if (response == RESPONSE_RESET) {
      *values = defaultFilterValues();
      showValues(&ui);
      continue;
    }
    accepted = response == GTK_RESPONSE_OK;
    break;
  }
  gtk_widget_destroy(ui.dialog);
  if (ui.module.library) unloadPluginModule(&ui.module);
  if (!accepted) *values = before;
  return accepted;
}
