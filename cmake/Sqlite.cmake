# SQLite, for asking tables with SQL. Debian has it for the machine's own word size: without it, and in a 32-bit build
# beside a 64-bit system, these parts are left out.
option(TELLIRA_SQLITE "build what needs SQLite when it is found" ON)
set(TELLIRA_HAS_SQLITE OFF)
if(TELLIRA_SQLITE)
  find_package(SQLite3 3.38 QUIET)
  if(SQLite3_FOUND)
    # The header is there for every word size, the library may not be.
    include(CheckCXXSourceCompiles)
    set(CMAKE_REQUIRED_LIBRARIES SQLite::SQLite3)
    check_cxx_source_compiles("#include <sqlite3.h>\nint main() { return sqlite3_libversion_number() == 0; }"
                              TELLIRA_SQLITE_LINKS)
    unset(CMAKE_REQUIRED_LIBRARIES)
    set(TELLIRA_HAS_SQLITE ${TELLIRA_SQLITE_LINKS})
  endif()
  if(NOT TELLIRA_HAS_SQLITE)
    message(STATUS "SQLite (libsqlite3-dev) is not there for this word size: no SQL extension, no `tellira db sql`")
  endif()
endif()
