# Installs the build tree into a folder of its own, builds the outside program against it, and runs it.
cmake_minimum_required(VERSION 3.25)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        list(JOIN ARGN " " line)
        message(FATAL_ERROR "status ${status}: ${line}")
    endif()
endfunction()

file(REMOVE_RECURSE ${scratch})
set(prefix ${scratch}/installed)
run(${CMAKE_COMMAND} --install ${build} --prefix ${prefix} --config ${config})
if(place STREQUAL moved)
    set(prefix ${scratch}/moved)
    file(RENAME ${scratch}/installed ${prefix})
endif()

file(GLOB strays ${prefix}/${includedir}/*.h) # names as plain as KXImage.h would stand among those of all libraries
if(strays)
    message(FATAL_ERROR "headers outside of their folder: ${strays}")
endif()

file(GLOB_RECURSE pages ${prefix}/share/doc/*.md)
foreach(page IN LISTS pages)
    get_filename_component(folder ${page} DIRECTORY)
    file(READ ${page} text)
    string(REGEX REPLACE "[][;`]" " " text "${text}") # which lists do not take
    string(REGEX MATCHALL "\\([^()#: ]+\\.(md|jpg|cpp)" links "${text}") # with the bracket of what they stand in
    foreach(link IN LISTS links)
        string(SUBSTRING ${link} 1 -1 target)
        if(NOT EXISTS ${folder}/${target})
            message(FATAL_ERROR "${page} links ${target}, which is not installed")
        endif()
    endforeach()
endforeach()

if(way STREQUAL find_package)
    run(${CMAKE_COMMAND} -S ${programs} -B ${scratch}/build -G ${generator} -DCMAKE_BUILD_TYPE=${config}
        -DCMAKE_CXX_COMPILER=${compiler} -DCMAKE_CXX_FLAGS=${flags} -DCMAKE_PREFIX_PATH=${prefix})
    run(${CMAKE_COMMAND} --build ${scratch}/build)
else()
    set(ENV{PKG_CONFIG_PATH} ${prefix}/${libdir}/pkgconfig)
    execute_process(COMMAND pkg-config --cflags --libs kxcore
        OUTPUT_VARIABLE arguments OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    separate_arguments(arguments)
    separate_arguments(flags)
    file(MAKE_DIRECTORY ${scratch}/build)
    run(${compiler} ${flags} -Wall -Wextra -Wpedantic -Wshadow -Werror ${programs}/outside.cpp -o ${scratch}/build/outside ${arguments}
        -Wl,-rpath,${prefix}/${libdir})
endif()

if(module)
    set(module module)
else()
    set(module "")
endif()
run(${scratch}/build/outside ${module})
