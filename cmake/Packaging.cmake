# The Debian package: cpack (run by scripts/package.sh) writes
# stashwell_<version>_<arch>.deb with everything `cmake --install` puts under /usr.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME stashwell)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Stashwell developers <packages@stashwell.app>"
    CACHE STRING "The package's Maintainer field")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON) # the build keeps debug information; the package does not need it

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT) # stashwell_1.0.0_amd64.deb
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE https://stashwell.app)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "find local AI models and reclaim the space they take")
set(CPACK_PACKAGE_DESCRIPTION
    "Stashwell finds the AI model files that local model applications (Ollama, LM Studio,
Jan, GPT4All, oMLX, Draw Things, ComfyUI, Stable Diffusion WebUI, text-generation-webui), the Hugging Face hub cache, llama.cpp's download cache
and your own folders keep on disk, shows how much space they take, marks likely and
verified duplicates, the models of applications that are no longer installed and the
leftovers (unfinished downloads, Ollama blobs no model uses), and moves what you select
to the desktop's Trash. It never deletes a file outright and never writes into another
application's folders.
The package holds the window (stashwell) and the terminal front end (stashwell-cli).")

# Depends: the libraries the binaries link, as dpkg-shlibdeps finds them, plus what the
# window loads at run time, which no tool can see in the binaries.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
file(STRINGS ${PROJECT_SOURCE_DIR}/packaging/window-runtime-packages.txt runtime_lines)
set(runtime_packages)
foreach(line IN LISTS runtime_lines)
    string(REGEX REPLACE "#.*" "" line "${line}")
    string(STRIP "${line}" line)
    if(line)
        list(APPEND runtime_packages ${line})
    endif()
endforeach()
list(JOIN runtime_packages ", " CPACK_DEBIAN_PACKAGE_DEPENDS)
# The desktop's Trash tools: not needed to run, but the way to look into the Trash
# and restore from a terminal.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS trash-cli)

include(CPack)
