# Builds the source tree that contains this recipe. Add this folder to BBFILES of a layer; to build
# another tree, set EXTERNALSRC.
SUMMARY = "Core of a resource-oriented request/response service framework"
DESCRIPTION = "Services mount resource handlers under paths; clients send them requests and receive \
any number of values, then an error or a completion. Shared libraries, C++17."
SECTION = "libs"
# The source tree states no licence.
LICENSE = "CLOSED"

DEPENDS = "fmt simdjson nettle nghttp2 libmicrohttpd libedit"

inherit cmake pkgconfig externalsrc

EXTERNALSRC ?= "${@os.path.realpath(os.path.join(d.getVar('THISDIR'), '..', '..'))}"
EXTERNALSRC_BUILD ?= "${WORKDIR}/build"

EXTRA_OECMAKE = "\
    -DBUILD_SHARED_LIBS=ON \
    -DBUILD_TESTING=OFF \
    -DKOVA_BUILD_EXAMPLES=OFF \
    -DKOVA_TOOL=OFF \
    -DKOVA_NATS=OFF \
    -DKOVA_BUILD_BENCHMARKS=OFF \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
"

# All libraries go to the package kova. By default, headers and pkg-config files go to kova-dev, and
# the documents and the examples' sources go to kova-doc; the CMake package is added to kova-dev here.
FILES:${PN}-dev += "${libdir}/cmake"

BBCLASSEXTEND = "native nativesdk"
