# Run by cpack before it packs: compresses what policy wants compressed.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*.1)
file(GLOB changelogs ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog*)
# Without names and times, so that equal files stay equal.
execute_process(COMMAND gzip -9 --no-name --force ${pages} ${changelogs} COMMAND_ERROR_IS_FATAL ANY)
