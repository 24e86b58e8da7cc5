# Flags that hold for every target of the tree.
add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wformat=2
                    -Wcast-align -Wimplicit-fallthrough -Werror)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 sees an overlap in every std::string that begins with a literal (its bug 105651).
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict>)
endif()
add_link_options(-Wl,--as-needed -Wl,-z,relro,-z,now)

if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  # x87 keeps excess precision, which would change the digits of rounded numbers between the two word sizes.
  add_compile_options(-msse2 -mfpmath=sse)
endif()
add_compile_options(-ffp-contract=off)

if(TELLIRA_SANITIZE)
  add_compile_options(-fsanitize=${TELLIRA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${TELLIRA_SANITIZE})
endif()
