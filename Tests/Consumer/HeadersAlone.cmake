# Compiles every header of Game/Core on its own, which proves that it includes what it needs. Those that are C are
# compiled as C and as C++.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE "${PROJECT_SOURCE_DIR}/Game/Core" "${PROJECT_SOURCE_DIR}/Game/Core/*.h")
set(cHeaders
    KeldFoundation/logger/IKeldLogTarget.h
    KeldFoundation/logger/IKeldLogger.h
    KeldMorvIO/Public/KeldLogger.h
    KeldMorvIO/Public/KeldMorvIO.h
)
add_library(KeldHeadersAlone OBJECT)
set_target_properties(KeldHeadersAlone PROPERTIES UNITY_BUILD OFF)
target_include_directories(KeldHeadersAlone PRIVATE "${PROJECT_SOURCE_DIR}/Game/Core" ${Boost_INCLUDE_DIRS})
target_link_libraries(KeldHeadersAlone PRIVATE KeldWarnings)
foreach(header ${headers})
    string(MAKE_C_IDENTIFIER "${header}" name)
    set(HEADER "${header}")
    set(languages cpp)
    if(header IN_LIST cHeaders)
        list(APPEND languages c)
    endif()
    foreach(language ${languages})
        set(source "${CMAKE_CURRENT_BINARY_DIR}/HeadersAlone/${name}.${language}")
        file(CONFIGURE OUTPUT "${source}" CONTENT "#include \"@HEADER@\"\n#include \"@HEADER@\"\n" @ONLY)
        target_sources(KeldHeadersAlone PRIVATE "${source}")
    endforeach()
endforeach()
