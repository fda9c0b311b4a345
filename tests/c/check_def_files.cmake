# Compares each checked-in module-definition file with what tools/c_functions.py writes from the
# C interface's headers.
foreach(entry "quorvane|src/quorvane.def|include/quorvane/quorvane_c.h"
              "quorvane_simhost|src/simhost/com/quorvane_simhost.def|include/quorvane/simulated_host_c.h")
  string(REPLACE "|" ";" parts "${entry}")
  list(GET parts 0 library)
  list(GET parts 1 def)
  list(GET parts 2 header)
  execute_process(COMMAND ${PYTHON} ${SOURCE_DIR}/tools/c_functions.py --def ${library}
                          ${SOURCE_DIR}/${header}
                  OUTPUT_VARIABLE expected RESULT_VARIABLE failed)
  file(READ ${SOURCE_DIR}/${def} actual)
  if(failed OR NOT expected STREQUAL actual)
    message(FATAL_ERROR "${def} does not list the functions of ${header}: "
                        "run tools/c_functions.py --def ${library} ${header} > ${def}")
  endif()
endforeach()
message(STATUS "module-definition files: both list their header's functions")
