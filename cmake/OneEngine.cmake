# Looks at build time at what has to hold at run time: the store and Python's own sqlite3 module call one shared
# library. Two copies of SQLite in one process undo each other's file locks.

function(require_shared_engine)
  foreach(library IN LISTS SQLite3_LIBRARIES)
    if(library MATCHES "\\.a$")
      message(FATAL_ERROR "${library} is a static library; the shared libsqlite3 is needed.")
    endif()
    execute_process(
      COMMAND ${Python_EXECUTABLE} ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/one_engine.py ${library}
      RESULT_VARIABLE result
      OUTPUT_VARIABLE finding
      ERROR_VARIABLE finding
      OUTPUT_STRIP_TRAILING_WHITESPACE
    )
    if(result EQUAL 0)
      continue()
    endif()
    set(cure "Build for a Python that is linked to the system's libsqlite3 (Debian's own, pyenv's), or, \
if no process of yours opens the store's file with Python's sqlite3, pass \
-DZENTROPE_ANPR_ALLOW_SECOND_SQLITE=ON (with pip: -C cmake.define.ZENTROPE_ANPR_ALLOW_SECOND_SQLITE=ON).")
    if(ZENTROPE_ANPR_ALLOW_SECOND_SQLITE)
      message(WARNING "${finding}")
    else()
      message(FATAL_ERROR "${finding}\n${cure}")
    endif()
  endforeach()
endfunction()
