# The gateway's base libraries: libubox, libubus and libuci. Targets Ubus::ubox, Ubus::ubus and
# Ubus::uci; Ubus::blobmsg_json, which the daemon does without, where it is there.

include(FindPackageHandleStandardArgs)

function(ubus_library target header library)
  find_path(${target}_INCLUDE_DIR ${header})
  find_library(${target}_LIBRARY ${library})
  mark_as_advanced(${target}_INCLUDE_DIR ${target}_LIBRARY)
  if(${target}_INCLUDE_DIR AND ${target}_LIBRARY AND NOT TARGET Ubus::${target})
    add_library(Ubus::${target} UNKNOWN IMPORTED)
    set_target_properties(
      Ubus::${target} PROPERTIES IMPORTED_LOCATION ${${target}_LIBRARY}
                                 INTERFACE_INCLUDE_DIRECTORIES ${${target}_INCLUDE_DIR})
  endif()
endfunction()

ubus_library(ubox libubox/uloop.h ubox)
ubus_library(blobmsg_json libubox/blobmsg_json.h blobmsg_json)
ubus_library(ubus libubus.h ubus)
ubus_library(uci uci.h uci)

find_package_handle_standard_args(Ubus REQUIRED_VARS ubox_LIBRARY ubus_LIBRARY uci_LIBRARY)

foreach(library blobmsg_json ubus)
  if(TARGET Ubus::${library})
    set_property(TARGET Ubus::${library} APPEND PROPERTY INTERFACE_LINK_LIBRARIES Ubus::ubox)
  endif()
endforeach()
