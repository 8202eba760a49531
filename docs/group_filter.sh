#!/bin/sh
# Doxygen input filter: prints the header $1 with its declarations put in the group of its
# subsystem, named after its folder (zuv/strings/... goes to "strings"). The group opens on the
# header's first line and closes after its last, so line numbers in warnings stay right. Headers
# of the library's root folder belong to no group.
header=$1
case $header in
  */zuv/platform/text.h) group=strings ;;
  */zuv/platform/catalog_types.h) group=files ;;
  */zuv/*/*) group=$(basename "$(dirname "$header")") ;;
  *) exec cat "$header" ;;
esac
printf '/** \\addtogroup %s */ /** @{ */ ' "$group"
cat "$header"
printf '\n/** @} */\n'
