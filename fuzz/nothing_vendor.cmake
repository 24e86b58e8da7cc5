# One library that answers every vendor function with 1 and touches nothing, whatever name it is loaded by.
add_library(nothing_vendor MODULE ${PROJECT_SOURCE_DIR}/fuzz/nothing_vendor.cpp)
target_include_directories(nothing_vendor PRIVATE ${PROJECT_SOURCE_DIR}/src)
# Its functions ignore their arguments, which clang's function type check would report at every call.
target_compile_options(nothing_vendor PRIVATE -fno-sanitize=all)

function(use_nothing_vendor target)
  add_dependencies(${target} nothing_vendor)
  target_compile_definitions(${target} PRIVATE NOTHING_VENDOR="$<TARGET_FILE:nothing_vendor>")
endfunction()
