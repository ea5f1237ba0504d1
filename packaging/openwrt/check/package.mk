# Stands in for the tree's include/package.mk: the steps in their order, and what a package must say.
PKG_BUILD_DIR:=$(OUTPUT)/$(PKG_NAME)-$(PKG_VERSION)
PKG_INSTALL_DIR:=$(PKG_BUILD_DIR)/ipkg-install

define BuildPackage
$(eval $(Package/$(1)))
$(foreach word,SECTION CATEGORY TITLE DEPENDS,$(if $($(word)),,$(error Package/$(1) has no $(word))))
$(if $(strip $(Package/$(1)/description)),,$(error Package/$(1) has no description))

compile:
	$$(call Build/Prepare)
	$$(call Build/Configure)
	$$(call Build/Compile)
	$$(call Package/$(1)/install,$(OUTPUT)/package)
	cd $(OUTPUT)/package && ls $(patsubst /%,%,$(strip $(Package/$(1)/conffiles))) >/dev/null
endef
