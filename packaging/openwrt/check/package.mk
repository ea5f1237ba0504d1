# Stands in for the tree's include/package.mk: the steps in their order, and what a package must say.
PKG_BUILD_DIR:=$(OUTPUT)/$(PKG_NAME)-$(PKG_VERSION)
PKG_INSTALL_DIR:=$(PKG_BUILD_DIR)/ipkg-install

$(foreach word,PKG_VERSION PKG_RELEASE PKG_LICENSE PKG_LICENSE_FILES,$(if $($(word)),,$(error there is no $(word))))
$(foreach file,$(PKG_FILE_DEPENDS),$(if $(wildcard $(file)),,$(error PKG_FILE_DEPENDS: there is no $(file))))

.PHONY: compile built

built:
	$(call Build/Prepare)
	$(call Build/Configure)
	$(call Build/Compile)
	cd $(PKG_BUILD_DIR) && ls $(PKG_LICENSE_FILES) >/dev/null

words:=SECTION CATEGORY TITLE DEPENDS

define BuildPackage
$(foreach word,$(words),$(eval $(word):=))
$(eval $(Package/$(1)))
$(foreach word,$(words),$(if $($(word)),,$(error Package/$(1) has no $(word))))
$(if $(strip $(Package/$(1)/description)),,$(error Package/$(1) has no description))

.PHONY: package-$(1)
compile: package-$(1)
package-$(1): built
	$$(call Package/$(1)/install,$(OUTPUT)/packages/$(1))
	cd $(OUTPUT)/packages/$(1) && ls $(patsubst /%,%,$(strip $(Package/$(1)/conffiles))) >/dev/null
endef
