SUMMARY = "Parser of GNU style command line arguments"
HOMEPAGE = "https://argtable.sourceforge.io/"
LICENSE = "LGPL-2.0-or-later"
LIC_FILES_CHKSUM = "file://COPYING;md5=f30a9716ef3762e3467a2f62bf790f0a"

SRC_URI = "${SOURCEFORGE_MIRROR}/argtable/argtable2-${PV}.tar.gz"
SRC_URI[sha256sum] = "8f77e8a7ced5301af6e22f47302fdbc3b1ff41f2b83c43c77ae5ca041771ddbf"

inherit autotools

# The getopt_long of musl reads one word behind the list that argtable2 gives it;
# the one that comes along does not.
CACHED_CONFIGUREVARS:append:libc-musl = " ac_cv_func_getopt_long=no"

BBCLASSEXTEND = "native nativesdk"
