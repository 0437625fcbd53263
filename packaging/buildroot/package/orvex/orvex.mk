################################################################################
#
# orvex
#
################################################################################

ORVEX_VERSION = 1.0.0
# The package is built from the tree that this external tree is part of.
ORVEX_SITE = $(BR2_EXTERNAL_ORVEX_PATH)/../..
ORVEX_SITE_METHOD = local
ORVEX_LICENSE = MIT
ORVEX_LICENSE_FILES = LICENSE
ORVEX_INSTALL_STAGING = YES
ORVEX_DEPENDENCIES = freetype

ORVEX_CONF_OPTS = \
	-DORVEX_TESTS=OFF \
	-DORVEX_EXAMPLES=OFF \
	-DORVEX_RUNTIME_FAST_PATHS=$(if $(BR2_PACKAGE_ORVEX_FAST_PATHS),ON,OFF)

# A toolchain with both kinds of library gets the shared one.
ifeq ($(BR2_STATIC_LIBS),y)
ORVEX_CONF_OPTS += -DBUILD_SHARED_LIBS=OFF
else
ORVEX_CONF_OPTS += -DBUILD_SHARED_LIBS=ON
endif

$(eval $(cmake-package))
