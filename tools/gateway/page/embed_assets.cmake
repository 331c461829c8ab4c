# Writes ASSETS_SOURCE, which holds the files of the page as arrays, and with them the build of the page: a digest of all of
# them, which the page carries in itself and compares with what the server says.
#
#   cmake -DASSETS="a.js;b.css" -DASSETS_SOURCE=assets.cpp -P embed_assets.cmake
cmake_minimum_required(VERSION 3.25)

function(content_type_of name result)
  cmake_path(GET name EXTENSION LAST_ONLY extension)
  if(extension STREQUAL ".html")
    set(type "text/html; charset=utf-8")
  elseif(extension STREQUAL ".css")
    set(type "text/css; charset=utf-8")
  elseif(extension STREQUAL ".js")
    set(type "text/javascript; charset=utf-8")
  elseif(extension STREQUAL ".svg")
    set(type "image/svg+xml")
  else()
    message(FATAL_ERROR "${name}: no content type is known for ${extension}")
  endif()
  set(${result} "${type}" PARENT_SCOPE)
endfunction()

set(digests "")
foreach(asset IN LISTS ASSETS)
  cmake_path(GET asset FILENAME name)
  file(SHA256 "${asset}" digest)
  string(APPEND digests "${name} ${digest}\n")
endforeach()
string(SHA256 build "${digests}")
string(SUBSTRING "${build}" 0 16 build)

set(arrays "")
set(rows "")
set(number 0)
foreach(asset IN LISTS ASSETS)
  cmake_path(GET asset FILENAME name)
  content_type_of("${name}" type)
  file(READ "${asset}" bytes HEX)
  string(HEX "@PAGE_BUILD@" placeholder)
  string(HEX "${build}" build_bytes)
  string(REPLACE "${placeholder}" "${build_bytes}" bytes "${bytes}")
  string(SHA256 etag "${bytes}")
  string(SUBSTRING "${etag}" 0 16 etag)
  string(LENGTH "${bytes}" digits)
  math(EXPR length "${digits} / 2")
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(REGEX REPLACE "(0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,0x..,)" "\\1\n" bytes "${bytes}")
  string(APPEND arrays "constexpr unsigned char kBytes${number}[] = {\n${bytes}};\n\n")
  string(APPEND rows "    {\"${name}\", \"${type}\", \"\\\"${etag}\\\"\", kBytes${number}, ${length}},\n")
  math(EXPR number "${number} + 1")
endforeach()

file(WRITE "${ASSETS_SOURCE}" "// Made by embed_assets.cmake.
#include \"tools/gateway/page/assets.h\"

namespace ac500::gateway {
namespace {

${arrays}constexpr Asset kAssets[] = {
${rows}};

}  // namespace

std::string_view pageBuild() {
    return \"${build}\";
}

const Asset* findAsset(std::string_view name) {
    for (const Asset& asset : kAssets) {
        if (asset.name == name) {
            return &asset;
        }
    }
    return nullptr;
}

}  // namespace ac500::gateway
")
