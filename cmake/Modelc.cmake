# orvane_models(OUT MODEL...): the C++ of the models, which stand below the current folder. OUT becomes the list of generated
# files, the sources of the folder's target.
#
# Each model has a rule of its own. The compiler itself says what it has read (the model, those that it uses, its templates), so
# that a changed model rebuilds what rests on it and nothing else.
function(orvane_models out)
  set(outputs)
  foreach(model IN LISTS ARGN)
    file(RELATIVE_PATH path ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR}/${model})
    string(REGEX REPLACE "[.]yaml$" "" stem ${PROJECT_BINARY_DIR}/generated/${path})
    add_custom_command(
      OUTPUT ${stem}.h ${stem}.cpp
      COMMAND ${Python3_EXECUTABLE} -B ${PROJECT_SOURCE_DIR}/modelc/modelc.py
              --root ${PROJECT_SOURCE_DIR} --out ${PROJECT_BINARY_DIR}/generated ${path}
      DEPENDS ${PROJECT_SOURCE_DIR}/${path}
      DEPFILE ${stem}.d
      COMMENT "Compiling model ${path}"
      VERBATIM)
    list(APPEND outputs ${stem}.h ${stem}.cpp)
  endforeach()
  set(${out} ${outputs} PARENT_SCOPE)
endfunction()
