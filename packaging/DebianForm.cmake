# Run by cpack on the staged files: gives them the form that Debian asks for.

set(usr ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/usr)
set(changelog ${usr}/share/doc/fetra/changelog.Debian)
file(COPY_FILE ${CMAKE_CURRENT_LIST_DIR}/debian/changelog ${changelog})
file(GLOB pages ${usr}/share/man/man*/*)
execute_process(COMMAND gzip -9nf ${changelog} ${pages} COMMAND_ERROR_IS_FATAL ANY)

# Whatever the umask of the one who builds.
file(CHMOD ${changelog}.gz PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
file(CHMOD_RECURSE ${usr} DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
