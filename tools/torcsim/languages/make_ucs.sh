#!/bin/sh
# Makes the gateway's language files from the UTF-8 sources beside this
# script: oxgw_<language>.ucs is little-endian 16-bit text behind a byte order
# mark, with CR LF line ends.
#   tools/torcsim/languages/make_ucs.sh
set -e
cd "$(dirname "$0")"
for source in *.txt; do
    language=${source%.txt}
    { printf '\377\376'; sed 's/$/\r/' "$source" | iconv -f UTF-8 -t UTF-16LE; } >"oxgw_$language.ucs"
done
