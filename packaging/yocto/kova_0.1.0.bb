# Builds the tree that this recipe lies in: add its folder to BBFILES of a layer, or point
# EXTERNALSRC elsewhere.
SUMMARY = "Core of a resource-oriented request/response service framework"
DESCRIPTION = "Services mount resource handlers under paths; clients send them requests and get \
any number of values, then an error or a completion. Shared libraries, C++17."
SECTION = "libs"
# The source tree states no licence.
LICENSE = "CLOSED"

DEPENDS = "fmt simdjson libcbor nettle"

inherit cmake pkgconfig externalsrc

EXTERNALSRC ?= "${@os.path.realpath(os.path.join(d.getVar('THISDIR'), '..', '..'))}"
EXTERNALSRC_BUILD ?= "${WORKDIR}/build"

EXTRA_OECMAKE = "\
    -DBUILD_SHARED_LIBS=ON \
    -DBUILD_TESTING=OFF \
    -DKOVA_BUILD_EXAMPLES=OFF \
    -DKOVA_BUILD_BENCHMARKS=OFF \
    -DCMAKE_SKIP_INSTALL_RPATH=ON \
"

# The four libraries belong together; headers, CMake package and pkg-config files go to kova-dev, the
# documents and the examples' source to kova-doc, as the defaults of these packages have it.
FILES:${PN}-dev += "${libdir}/cmake"

BBCLASSEXTEND = "native nativesdk"
