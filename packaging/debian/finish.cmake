# The last touches before the package is made: compressed manual pages, and folders that do not
# depend on the builder's umask.
set(installed "${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
file(GLOB pages "${installed}/usr/share/man/man8/*.8")
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
file(CHMOD_RECURSE "${installed}" DIRECTORY_PERMISSIONS
     OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
