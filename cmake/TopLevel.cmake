# Is this the project that the user configures, or part of another one?
if(CMAKE_SOURCE_DIR STREQUAL CMAKE_CURRENT_SOURCE_DIR)
    set(KIV_IS_TOP_LEVEL ON)
    if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
        set(CMAKE_BUILD_TYPE Release CACHE STRING "Kind of build" FORCE)
    endif()
else()
    set(KIV_IS_TOP_LEVEL OFF)
endif()
