# The page of the service: its files and the modules that it uses, compressed, as a source file of the program.
#
# QV_BUILD_PAGE: AUTO builds the page if there are node and npm and the modules can be had; ON stops if not; OFF builds a
# program that says that it has no page. Sets `page_source`.

set(QV_BUILD_PAGE AUTO CACHE STRING "Build the page of the service: AUTO, ON or OFF")
set_property(CACHE QV_BUILD_PAGE PROPERTY STRINGS AUTO ON OFF)

set(page_dir ${CMAKE_SOURCE_DIR}/service/page)
set(page_build_dir ${CMAKE_BINARY_DIR}/page)
set(page_source ${page_dir}/absent.cpp)
set(page_reason "")

# Installs the modules that the lock file names, unless these are there already.
function(qv_install_page_modules)
  file(SHA256 ${page_dir}/package-lock.json wanted)
  string(APPEND wanted " ${QV_BUILD_TESTS}")
  set(stamp ${page_build_dir}/installed)
  if(EXISTS ${stamp})
    file(READ ${stamp} installed)
    if(installed STREQUAL wanted)
      return()
    endif()
  endif()
  file(REMOVE ${stamp})
  file(COPY ${page_dir}/package.json ${page_dir}/package-lock.json DESTINATION ${page_build_dir})
  set(kinds --omit=dev)
  if(QV_BUILD_TESTS)  # a browser's driver too
    set(kinds "")
  endif()
  execute_process(COMMAND ${QV_NPM} ci --ignore-scripts --no-audit --no-fund ${kinds}
                  WORKING_DIRECTORY ${page_build_dir} RESULT_VARIABLE status OUTPUT_QUIET ERROR_VARIABLE errors)
  if(status EQUAL 0)
    file(WRITE ${stamp} "${wanted}")
  else()
    set(page_reason "npm cannot install its modules: ${errors}" PARENT_SCOPE)
  endif()
endfunction()

if(NOT QV_BUILD_PAGE STREQUAL "OFF")
  find_program(QV_NODE NAMES node nodejs)
  find_program(QV_NPM npm)
  if(QV_NODE AND QV_NPM)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${page_dir}/package-lock.json)
    qv_install_page_modules()
  else()
    set(page_reason "there is no node or no npm")
  endif()
  if(page_reason STREQUAL "")
    set(page_source ${page_build_dir}/assets.cpp)
    file(GLOB page_files CONFIGURE_DEPENDS ${page_dir}/files/*)
    add_custom_command(OUTPUT ${page_source}
                       COMMAND ${QV_NODE} ${page_dir}/build.mjs ${page_build_dir}/node_modules ${page_source}
                       DEPENDS ${page_files} ${page_dir}/build.mjs ${page_build_dir}/installed
                       COMMENT "Compressing the page" VERBATIM)
  elseif(QV_BUILD_PAGE STREQUAL "ON")
    message(FATAL_ERROR "The page cannot be built: ${page_reason}")
  else()
    message(STATUS "The service is built without its page: ${page_reason}")
  endif()
endif()
