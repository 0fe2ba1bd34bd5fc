# One static library per folder of cmake/layers.txt, linked with what the folder's row allows and nothing else.

set(ORVANE_LAYER_TABLE ${PROJECT_SOURCE_DIR}/cmake/layers.txt)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ORVANE_LAYER_TABLE})

# orvane_layer_row(FOLDER OUT): the targets that FOLDER's row names.
function(orvane_layer_row folder out)
  file(STRINGS ${ORVANE_LAYER_TABLE} rows REGEX "^${folder}:")
  list(LENGTH rows count)
  if(NOT count EQUAL 1)
    message(FATAL_ERROR "${folder} needs exactly one row in ${ORVANE_LAYER_TABLE}")
  endif()
  string(REGEX REPLACE "^[^:]*:" "" names "${rows}")
  separate_arguments(names UNIX_COMMAND "${names}")
  set(targets)
  foreach(name IN LISTS names)
    get_filename_component(base ${name} NAME)
    string(REPLACE "-" "" base ${base})
    list(APPEND targets orvane_${base})
  endforeach()
  set(${out} ${targets} PARENT_SCOPE)
endfunction()

# orvane_layer([SOURCES generated...] [LINKS libraries...] [EXCEPT files...]): the target of the current folder, from all
# sources below it but the excepted ones. A folder that holds only headers is an interface library, so that it can be linked
# all the same.
function(orvane_layer)
  cmake_parse_arguments(arg "" "" "SOURCES;LINKS;EXCEPT" ${ARGN})
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  get_filename_component(base ${folder} NAME)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp)
  list(TRANSFORM arg_EXCEPT PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(REMOVE_ITEM sources ${arg_EXCEPT})
  list(APPEND sources ${arg_SOURCES})
  orvane_layer_row(${folder} links)
  if(sources)
    add_library(orvane_${base} STATIC ${sources})
    target_link_libraries(orvane_${base} PUBLIC orvane_options ${links} ${arg_LINKS})
  else()
    add_library(orvane_${base} INTERFACE)
    target_link_libraries(orvane_${base} INTERFACE orvane_options ${links} ${arg_LINKS})
  endif()
endfunction()
