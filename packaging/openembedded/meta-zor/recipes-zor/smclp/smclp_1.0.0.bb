SUMMARY = "SM-CLP command shell of a server's management controller"
LICENSE = "Apache-2.0 & GPL-3.0-or-later"
LICENSE:${PN} = "Apache-2.0"
LICENSE:${PN}-ctl = "Apache-2.0"
LICENSE:${PN}-objmgr = "Apache-2.0"
LICENSE:${PN}-objmgr-ipmi = "GPL-3.0-or-later"
LICENSE:${PN}-objmgr-redfish = "Apache-2.0"
LIC_FILES_CHKSUM = "file://LICENSE;md5=3b83ef96387f14655fc854ddc3c6bd57"

# This tree, wherever the layer stands in it.
inherit externalsrc
EXTERNALSRC = "${@os.path.realpath(os.path.join(d.getVar('THISDIR'), '../../../../..'))}"

DEPENDS = "argtable2 tomlplusplus"

inherit cmake pkgconfig systemd useradd

EXTRA_OECMAKE = " \
    -DZOR_BUILD_TESTS=OFF \
    -DZOR_BUILD_BENCH=OFF \
    -DZOR_MAN=OFF \
    -DZOR_STATIC_DEPS=OFF \
    -DZOR_UNIT_DIR=${systemd_system_unitdir} \
    -DCMAKE_INSTALL_SYSCONFDIR=${sysconfdir} \
"

PACKAGECONFIG ??= "ctl sim ${@bb.utils.contains('DISTRO_FEATURES', 'systemd', 'systemd', '', d)}"
PACKAGECONFIG[ctl] = "-DZOR_CTL=ON,-DZOR_CTL=OFF,jansson"
PACKAGECONFIG[ipmi] = "-DZOR_IPMI=ON,-DZOR_IPMI=OFF,freeipmi"
PACKAGECONFIG[listen] = "-DZOR_CTL_LISTEN=ON,-DZOR_CTL_LISTEN=OFF,libmicrohttpd"
PACKAGECONFIG[redfish] = "-DZOR_REDFISH=ON,-DZOR_REDFISH=OFF,curl jansson"
PACKAGECONFIG[sim] = "-DZOR_SIM=ON,-DZOR_SIM=OFF"
PACKAGECONFIG[systemd] = "-DZOR_SYSTEMD=ON,-DZOR_SYSTEMD=OFF"

# The services' user; members of the group may use the shell.
USERADD_PACKAGES = "${PN}"
GROUPADD_PARAM:${PN} = "--system zor"
USERADD_PARAM:${PN} = "--system --gid zor --home-dir /run/zor --no-create-home \
    --shell ${base_sbindir}/nologin zor"

SYSTEMD_SERVICE:${PN} = "run-zor-sessions.mount"

PACKAGES =+ "${PN}-ctl ${PN}-objmgr ${PN}-objmgr-ipmi ${PN}-objmgr-redfish"

FILES:${PN} += "${datadir} ${nonarch_libdir}/sysusers.d ${nonarch_libdir}/tmpfiles.d"
FILES:${PN}-ctl = " \
    ${bindir}/smclpctl \
    ${bindir}/smclpctl-listen \
    ${datadir}/bash-completion/completions/smclpctl \
"
FILES:${PN}-objmgr = " \
    ${bindir}/objmgrd-sim \
    ${datadir}/bash-completion/completions/objmgrd-sim \
    ${sysconfdir}/zor/objmgr.toml \
    ${systemd_system_unitdir}/objmgrd-sim@.service \
"
FILES:${PN}-objmgr-ipmi = " \
    ${bindir}/objmgrd-ipmi \
    ${datadir}/bash-completion/completions/objmgrd-ipmi \
    ${systemd_system_unitdir}/objmgrd-ipmi@.service \
"
FILES:${PN}-objmgr-redfish = " \
    ${bindir}/objmgrd-redfish \
    ${datadir}/bash-completion/completions/objmgrd-redfish \
    ${systemd_system_unitdir}/objmgrd-redfish@.service \
"
RDEPENDS:${PN}-objmgr = "${PN}"
RDEPENDS:${PN}-objmgr-ipmi = "${PN}"
RDEPENDS:${PN}-objmgr-redfish = "${PN}"
CONFFILES:${PN} = "${sysconfdir}/zor/rights.toml ${sysconfdir}/zor/login.conf"
CONFFILES:${PN}-objmgr = "${sysconfdir}/zor/objmgr.toml"
