// librsvg, opened when the first SVG picture is.

#ifndef HOST_PLAYER_IMAGE_SVGLIBRARY_H_
#define HOST_PLAYER_IMAGE_SVGLIBRARY_H_

#include <cairo.h>
#include <librsvg/rsvg.h>

#include <string>

namespace plexion_host::player {

/// What is called of librsvg and of the libraries that it brings along: thirty of them, which take as long
/// to be loaded as a PNG picture takes to be decoded. So nobody links them; who shows no SVG picture
/// never has them.
struct SvgLibrary {
  decltype(&::rsvg_handle_new_from_data) rsvg_handle_new_from_data;
  decltype(&::rsvg_handle_set_dpi) rsvg_handle_set_dpi;
  decltype(&::rsvg_handle_get_intrinsic_size_in_pixels) rsvg_handle_get_intrinsic_size_in_pixels;
  decltype(&::rsvg_handle_get_intrinsic_dimensions) rsvg_handle_get_intrinsic_dimensions;
  decltype(&::rsvg_handle_get_geometry_for_element) rsvg_handle_get_geometry_for_element;
  decltype(&::rsvg_handle_render_document) rsvg_handle_render_document;
  decltype(&::cairo_image_surface_create_for_data) cairo_image_surface_create_for_data;
  decltype(&::cairo_surface_destroy) cairo_surface_destroy;
  decltype(&::cairo_create) cairo_create;
  decltype(&::cairo_status) cairo_status;
  decltype(&::cairo_destroy) cairo_destroy;
  decltype(&::g_clear_error) g_clear_error;
  decltype(&::g_object_unref) g_object_unref;

  /// Opens it at the first call; it stays until the process ends.
  /// Returns  null with `reason` when it is not installed.
  /// Thread   any.
  static const SvgLibrary* Get(std::string& reason);
};

}  // namespace plexion_host::player

#endif  // HOST_PLAYER_IMAGE_SVGLIBRARY_H_
