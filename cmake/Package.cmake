# The Debian package: scripts/package makes it with CPack. What it installs is told in packaging/CMakeLists.txt and
# man/CMakeLists.txt.

# Below the prefix. Net-SNMP of Debian looks for its modules here, so that a line `dlmod orvane orvane` is enough.
set(ORVANE_MODULE_DIR lib/${CMAKE_LIBRARY_ARCHITECTURE}/snmp/dlmod)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_PACKAGE_NAME orvane)
set(CPACK_PACKAGE_CONTACT "Orvane maintainers <maintainers@orvane.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "hardware inventory of a network switch for Net-SNMP")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"A module for snmpd, and an AgentX daemon with the same content. They keep the
physical inventory, the state and the sensors of a network switch as live
objects, answer ENTITY-MIB, ENTITY-STATE-MIB, ENTITY-SENSOR-MIB and a vendor
table of sensor thresholds from them, and notify of what happens to them.
.
Nothing is served until the administrator asks for it, either in
/etc/snmp/snmpd.conf.d/orvane.conf or by enabling orvaned.service.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "python3, systemd | systemd-standalone-sysusers | systemd-sysusers")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS snmpd)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "snmp, prometheus-snmp-exporter")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/packaging/conffiles
  ${PROJECT_SOURCE_DIR}/packaging/debian/postinst
  ${PROJECT_SOURCE_DIR}/packaging/debian/prerm
  ${PROJECT_SOURCE_DIR}/packaging/debian/postrm)
include(CPack)
