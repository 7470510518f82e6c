// Opens librsvg and finds its operations.

#include "host/player/image/SvgLibrary.h"

#include <dlfcn.h>

#include <type_traits>

namespace plexion_host::player {

namespace {

/// Of the interface that its headers, which this is compiled with, describe.
constexpr char kFile[] = "librsvg-2.so.2";

struct Opened {
  SvgLibrary library = {};
  std::string fault;
};

Opened Open() {
  Opened opened;
  void* const handle = dlopen(kFile, RTLD_NOW | RTLD_LOCAL);
  const auto find = [&](auto& operation, const char* name) {
    // What it was linked with is found through it as well.
    void* const address = handle == nullptr ? nullptr : dlsym(handle, name);
    operation = reinterpret_cast<std::remove_reference_t<decltype(operation)>>(address);
    if (address != nullptr || !opened.fault.empty()) return;
    const char* const fault = dlerror();
    opened.fault = std::string("SVG pictures need ") + kFile +
                   " (Debian's librsvg2-2): " + (fault == nullptr ? "it cannot be opened" : fault);
  };
  SvgLibrary& library = opened.library;
  find(library.rsvg_handle_new_from_data, "rsvg_handle_new_from_data");
  find(library.rsvg_handle_set_dpi, "rsvg_handle_set_dpi");
  find(library.rsvg_handle_get_intrinsic_size_in_pixels,
       "rsvg_handle_get_intrinsic_size_in_pixels");
  find(library.rsvg_handle_get_intrinsic_dimensions, "rsvg_handle_get_intrinsic_dimensions");
  find(library.rsvg_handle_get_geometry_for_element, "rsvg_handle_get_geometry_for_element");
  find(library.rsvg_handle_render_document, "rsvg_handle_render_document");
  find(library.cairo_image_surface_create_for_data, "cairo_image_surface_create_for_data");
  find(library.cairo_surface_destroy, "cairo_surface_destroy");
  find(library.cairo_create, "cairo_create");
  find(library.cairo_status, "cairo_status");
  find(library.cairo_destroy, "cairo_destroy");
  find(library.g_clear_error, "g_clear_error");
  find(library.g_object_unref, "g_object_unref");
  return opened;
}

}  // namespace

const SvgLibrary* SvgLibrary::Get(std::string& reason) {
  // Threads that were left behind may still draw when the process ends.
  static const auto* const opened = new Opened(Open());
  if (opened->fault.empty()) return &opened->library;
  reason = opened->fault;
  return nullptr;
}

}  // namespace plexion_host::player
