################################################################################
#
# smclp
#
################################################################################

SMCLP_VERSION = 1.0.0
SMCLP_SITE = $(BR2_EXTERNAL_ZOR_PATH)/../..
SMCLP_SITE_METHOD = local
SMCLP_LICENSE = Apache-2.0
SMCLP_LICENSE_FILES = LICENSE
SMCLP_DEPENDENCIES = argtable2
SMCLP_COMPONENTS = smclp

SMCLP_CONF_OPTS = \
	-DZOR_BUILD_TESTS=OFF \
	-DZOR_BUILD_BENCH=OFF \
	-DZOR_LTO=ON \
	-DZOR_MAN=OFF \
	-DZOR_STATIC_DEPS=OFF

ifeq ($(BR2_INIT_SYSTEMD),y)
SMCLP_CONF_OPTS += -DZOR_SYSTEMD=ON
else
SMCLP_CONF_OPTS += -DZOR_SYSTEMD=OFF
endif

ifeq ($(BR2_PACKAGE_SMCLP_CTL),y)
SMCLP_CONF_OPTS += -DZOR_CTL=ON
SMCLP_DEPENDENCIES += jansson
else
SMCLP_CONF_OPTS += -DZOR_CTL=OFF
endif

ifeq ($(BR2_PACKAGE_SMCLP_CTL_LISTEN),y)
SMCLP_CONF_OPTS += -DZOR_CTL_LISTEN=ON
SMCLP_DEPENDENCIES += libmicrohttpd
else
SMCLP_CONF_OPTS += -DZOR_CTL_LISTEN=OFF
endif

ifeq ($(BR2_PACKAGE_SMCLP_IPMI),y)
SMCLP_LICENSE += , GPL-3.0+ (objmgrd-ipmi as a whole)
SMCLP_CONF_OPTS += -DZOR_IPMI=ON
SMCLP_DEPENDENCIES += freeipmi tomlplusplus
SMCLP_COMPONENTS += smclp-objmgr-ipmi
SMCLP_SERVICES += ipmi
else
SMCLP_CONF_OPTS += -DZOR_IPMI=OFF
endif

ifeq ($(BR2_PACKAGE_SMCLP_REDFISH),y)
SMCLP_CONF_OPTS += -DZOR_REDFISH=ON
SMCLP_DEPENDENCIES += jansson libcurl tomlplusplus
SMCLP_COMPONENTS += smclp-objmgr-redfish
SMCLP_SERVICES += redfish
else
SMCLP_CONF_OPTS += -DZOR_REDFISH=OFF
endif

ifeq ($(BR2_PACKAGE_SMCLP_SIM),y)
SMCLP_CONF_OPTS += -DZOR_SIM=ON
SMCLP_DEPENDENCIES += tomlplusplus
SMCLP_COMPONENTS += smclp-objmgr
SMCLP_SERVICES += sim
else
SMCLP_CONF_OPTS += -DZOR_SIM=OFF
endif

define SMCLP_INSTALL_TARGET_CMDS
	$(foreach component,$(SMCLP_COMPONENTS), \
		DESTDIR=$(TARGET_DIR) $(BR2_CMAKE) --install $(@D) \
			--component $(component)$(sep))
endef

# The services' user; members of the group may use the shell.
define SMCLP_USERS
	zor -1 zor -1 * /run/zor - - Object managers of the SM-CLP shell
endef

define SMCLP_INSTALL_INIT_SYSV
	$(INSTALL) -D -m 0755 $(SMCLP_PKGDIR)/S60objmgrd \
		$(TARGET_DIR)/etc/init.d/S60objmgrd
	$(foreach service,$(SMCLP_SERVICES), \
		mkdir -p $(TARGET_DIR)/etc/zor/$(service).d$(sep))
endef

$(eval $(cmake-package))
