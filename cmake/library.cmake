# The target kt_driver: libkt_driver.so.1, to which each room adds its sources.

add_library(kt_driver SHARED)
add_library(kt_driver::kt_driver ALIAS kt_driver)
set_target_properties(kt_driver PROPERTIES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINKER_LANGUAGE CXX)
target_include_directories(kt_driver PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_link_libraries(kt_driver PRIVATE $<BUILD_INTERFACE:kt_warnings> $<BUILD_INTERFACE:kt_sanitized> Threads::Threads)

# iniparser comes without a CMake package.
find_path(INIPARSER_INCLUDE_DIR iniparser/iniparser.h REQUIRED)
find_library(INIPARSER_LIBRARY iniparser REQUIRED)
target_include_directories(kt_driver SYSTEM PRIVATE ${INIPARSER_INCLUDE_DIR})
target_link_libraries(kt_driver PRIVATE ${INIPARSER_LIBRARY})

# The terminal's flash is small: what nobody calls is left out.
target_compile_options(kt_driver PRIVATE -ffunction-sections -fdata-sections)
target_link_options(kt_driver PRIVATE -Wl,--gc-sections -Wl,--as-needed)
if(NOT KT_SANITIZE)
    target_link_options(kt_driver PRIVATE -Wl,--no-undefined) # a sanitizer's own functions come with the program
endif()

# Hidden visibility leaves out the standard library's templates, which are instantiated with default visibility.
set(version_script ${PROJECT_SOURCE_DIR}/exports/hidden.map)
target_link_options(kt_driver PRIVATE -Wl,--version-script=${version_script})
set_property(TARGET kt_driver APPEND PROPERTY LINK_DEPENDS ${version_script})
