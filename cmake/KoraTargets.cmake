# What every native target of this project has in common.

# Warnings, sanitizers: `kora_compile_options(target)`.
function(kora_compile_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Werror)
  # What is said of headers, g++ says of sources that are included in one.
  if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  if(KORA_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${KORA_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${KORA_SANITIZE})
  endif()
endfunction()

# A library that exports just what its version script lists: `kora_shared_library(target script.map)`. It finds its
# neighbours beside itself, and is looked for by its name alone.
function(kora_shared_library target version_script)
  kora_compile_options(${target})
  set_target_properties(${target} PROPERTIES BUILD_RPATH "$ORIGIN" INSTALL_RPATH "$ORIGIN"
                                             BUILD_RPATH_USE_ORIGIN ON LINK_DEPENDS ${version_script}
                                             LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  target_link_options(${target} PRIVATE -Wl,--version-script=${version_script} -Wl,--no-undefined)
endfunction()
