// The libraries of the X11 protocol, loaded late (Bibliothek.h): when a window is first looked for.
//
// Any thread, after ladeXcb() has succeeded.
#pragma once

#include <X11/Xauth.h>
#include <xcb/composite.h>
#include <xcb/damage.h>
#include <xcb/res.h>
#include <xcb/shm.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include "base/Fehler.h"
#include "platform/linux/Bibliothek.h"

// clang-format off
#define HALLKORB_XCB(RUF)                                                                     \
  RUF(xcb_change_window_attributes) RUF(xcb_change_window_attributes_checked)                 \
  RUF(xcb_connect_to_fd) RUF(xcb_connection_has_error) RUF(xcb_depth_next)                    \
  RUF(xcb_depth_visuals_iterator) RUF(xcb_disconnect) RUF(xcb_flush) RUF(xcb_format_next)     \
  RUF(xcb_free_pixmap) RUF(xcb_generate_id) RUF(xcb_get_extension_data)                       \
  RUF(xcb_get_file_descriptor) RUF(xcb_get_geometry) RUF(xcb_get_geometry_reply)              \
  RUF(xcb_get_image) RUF(xcb_get_image_data) RUF(xcb_get_image_data_length)                   \
  RUF(xcb_get_image_reply) RUF(xcb_get_property) RUF(xcb_get_property_reply)                  \
  RUF(xcb_get_property_value) RUF(xcb_get_setup)                                              \
  RUF(xcb_get_window_attributes) RUF(xcb_get_window_attributes_reply) RUF(xcb_intern_atom)    \
  RUF(xcb_intern_atom_reply) RUF(xcb_parse_display) RUF(xcb_poll_for_event)                   \
  RUF(xcb_prefetch_extension_data) RUF(xcb_query_pointer) RUF(xcb_query_pointer_reply)        \
  RUF(xcb_query_tree) RUF(xcb_query_tree_children)                                            \
  RUF(xcb_query_tree_reply) RUF(xcb_request_check) RUF(xcb_screen_allowed_depths_iterator)    \
  RUF(xcb_screen_next) RUF(xcb_setup_pixmap_formats_iterator)                                 \
  RUF(xcb_setup_roots_iterator) RUF(xcb_translate_coordinates)                                \
  RUF(xcb_translate_coordinates_reply) RUF(xcb_visualtype_next)
#define HALLKORB_XCB_COMPOSITE(RUF)                                                           \
  RUF(xcb_composite_name_window_pixmap_checked) RUF(xcb_composite_query_version)              \
  RUF(xcb_composite_query_version_reply) RUF(xcb_composite_redirect_window_checked)           \
  RUF(xcb_composite_unredirect_window)
#define HALLKORB_XCB_DAMAGE(RUF)                                                              \
  RUF(xcb_damage_create_checked) RUF(xcb_damage_destroy) RUF(xcb_damage_query_version)        \
  RUF(xcb_damage_query_version_reply) RUF(xcb_damage_subtract)
#define HALLKORB_XCB_RES(RUF)                                                                 \
  RUF(xcb_res_query_client_ids) RUF(xcb_res_query_client_ids_reply)
#define HALLKORB_XCB_SHM(RUF)                                                                 \
  RUF(xcb_shm_attach_checked) RUF(xcb_shm_detach) RUF(xcb_shm_get_image)                      \
  RUF(xcb_shm_get_image_reply)
#define HALLKORB_XCB_XFIXES(RUF)                                                              \
  RUF(xcb_xfixes_get_cursor_image) RUF(xcb_xfixes_get_cursor_image_cursor_image)              \
  RUF(xcb_xfixes_get_cursor_image_reply) RUF(xcb_xfixes_query_version)                        \
  RUF(xcb_xfixes_query_version_reply) RUF(xcb_xfixes_select_cursor_input)
#define HALLKORB_XAU(RUF)                                                                     \
  RUF(XauDisposeAuth) RUF(XauGetBestAuthByAddr)
// The extensions' names for xcb_get_extension_data.
#define HALLKORB_XCB_ERWEITERUNGEN(RUF)                                                       \
  RUF(xcb_composite_id) RUF(xcb_damage_id) RUF(xcb_res_id) RUF(xcb_shm_id) RUF(xcb_xfixes_id)
// clang-format on

namespace hallkorb {

HALLKORB_XCB(HALLKORB_DEKLARIERE)
HALLKORB_XCB_COMPOSITE(HALLKORB_DEKLARIERE)
HALLKORB_XCB_DAMAGE(HALLKORB_DEKLARIERE)
HALLKORB_XCB_RES(HALLKORB_DEKLARIERE)
HALLKORB_XCB_SHM(HALLKORB_DEKLARIERE)
HALLKORB_XCB_XFIXES(HALLKORB_DEKLARIERE)
HALLKORB_XAU(HALLKORB_DEKLARIERE)
HALLKORB_XCB_ERWEITERUNGEN(HALLKORB_DEKLARIERE)

// Loads the libraries, once.
[[nodiscard]] Ergebnis ladeXcb();

}  // namespace hallkorb
