################################################################################
#
# argtable2
#
################################################################################

ARGTABLE2_VERSION = 13
ARGTABLE2_SITE = https://downloads.sourceforge.net/project/argtable/argtable/argtable-2.$(ARGTABLE2_VERSION)
ARGTABLE2_LICENSE = LGPL-2.0+
ARGTABLE2_LICENSE_FILES = COPYING
ARGTABLE2_INSTALL_STAGING = YES

# The getopt_long of musl and uClibc reads one word behind the list that
# argtable2 gives it; the one that comes along does not.
ifeq ($(BR2_TOOLCHAIN_USES_GLIBC),)
ARGTABLE2_CONF_ENV = ac_cv_func_getopt_long=no
endif

$(eval $(autotools-package))
