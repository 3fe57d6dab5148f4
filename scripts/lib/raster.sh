# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Sourced by scripts/demo behind commandLine.sh: from an image to the raw samples that teko takes, with netpbm.

# readType FILE: sets type (PNG, or P1 to P7 for the anymaps), described and changes, or refuses. Needs no package.
readType() {
    local start
    changes=()
    start=$(head -c 8 -- "$1" | od -An -tx1 | tr -d ' \n')
    case $start in
    89504e470d0a1a0a)
        type=PNG
        describePng "$1"
        ;;
    503[1-7]09* | 503[1-7]0[a-d]* | 503[1-7]2[03]*)
        type=P${start:3:1}
        case $type in
        P1 | P4) described=PBM ;;
        P2 | P5) described=PGM ;;
        P3 | P6) described=PPM ;;
        P7) describePam "$1" ;;
        esac
        ;;
    *) refuse "'$1' is no PGM, PPM, PBM, PAM or PNG." ;;
    esac
}

# numberAt FILE OFFSET BYTES: the most significant byte first; nothing behind the end
numberAt() { od -An -v -t "u$3" --endian=big -j "$2" -N "$3" -- "$1" 2>/dev/null | tr -d ' \n' || true; }

# describePng FILE: sets pngBits as well, the bits that a sample has when it is read
describePng() {
    local colours=([0]=grey [2]=RGB [3]=palette [4]='grey with alpha' [6]='RGB with alpha') colour
    pngBits=$(numberAt "$1" 24 1)
    colour=$(numberAt "$1" 25 1)
    [ -n "${colours[${colour:-1}]-}" ] || refuse "'$1' is no whole PNG."
    described="PNG, ${colours[colour]}, $pngBits-bit"
    if [ "$colour" -eq 3 ]; then
        pngBits=8
        changes+=('palette replaced by its colours')
    fi
    if [ "$colour" -ge 4 ]; then
        changes+=('alpha dropped')
    elif hasTransparency "$1"; then
        changes+=('transparency dropped')
    fi
}

# hasTransparency FILE: whether a chunk tRNS stands before the image data of a PNG
hasTransparency() {
    local offset=8 length chunk
    while length=$(numberAt "$1" "$offset" 4) && [ -n "$length" ]; do
        chunk=$(dd if="$1" bs=1 skip=$((offset + 4)) count=4 status=none | tr -d '\0')
        case $chunk in
        tRNS) return 0 ;;
        IDAT) return 1 ;;
        esac
        offset=$((offset + 12 + length))
    done
    return 1
}

describePam() {
    local tuples
    tuples=$(head -c 4096 -- "$1" | tr -d '\0' | LC_ALL=C awk '
        /^ENDHDR/ { exit }
        $1 == "DEPTH" { depth = $2 }
        $1 == "TUPLTYPE" { tuples = $2 }
        END { print tuples "/" depth }')
    case $tuples in
    /1) tuples=GRAYSCALE/1 ;;
    /3) tuples=RGB/3 ;;
    esac
    described="PAM, ${tuples%/*}"
    case $tuples in
    BLACKANDWHITE/1 | GRAYSCALE/1 | RGB/3) ;;
    BLACKANDWHITE_ALPHA/2 | GRAYSCALE_ALPHA/2 | RGB_ALPHA/4) changes+=('alpha dropped') ;;
    *) refuse "'$1' is a PAM of type '${tuples%/*}' and depth '${tuples#*/}', which is neither grey nor RGB: take\
 channels out of it with pamchannel." ;;
    esac
}

# makeRaster FILE: writes image.raw, sets bytes, bits, width, height and maxval of what is in it, and adds to changes.
# Needs what readType sets, netpbm, and a folder to work in.
makeRaster() {
    toAnymap "$1"
    readShape
    case $type in
    P[235-7]) described+=", maxval $maxval" ;;
    PNG) noteSignificantBits ;;
    esac
    case $magic in
    P4)
        changes+=('each bit unpacked into a byte')
        toDepth 255
        takeRaster
        maxval=1
        LC_ALL=C tr '\377' '\1' <image.raw >bits.raw
        mv bits.raw image.raw
        ;;
    P6)
        if [ "$maxval" -gt 255 ]; then
            changes+=("samples reduced from $(bitsOf "$maxval") bits to 8, maxval $maxval to 255")
            toDepth 255
        fi
        takeRaster
        ;;
    *) takeRaster ;;
    esac
    bits=$(bitsOf "$maxval")
}

# toAnymap FILE: image.pnm, a raw PBM, PGM or PPM
toAnymap() {
    local convert=(pnmcat -tb) images
    case $type in
    PNG) convert=(pngtopnm) ;;
    P7)
        type -P pamtopnm >/dev/null || refuse "'$1' is a PAM, and the netpbm of this system is too old to read it."
        convert=(pamtopnm)
        ;;
    esac
    "${convert[@]}" "$1" >image.pnm 2>netpbm.log ||
        refuse "netpbm cannot read '$1' ($(sed 's/^[a-z]*: *//' netpbm.log | head -n 1))"
    [ "$type" != PNG ] || return 0
    images=$(pamfile -allimages <"$1" 2>/dev/null | grep -c 'Image [0-9]*:' || true)
    [ "$images" -le 1 ] || changes+=("only the first of $images images taken")
}

# readShape: of image.pnm
readShape() {
    maxval=1
    { read -r magic && read -r width height && { [ "$magic" = P4 ] || read -r maxval; }; } <image.pnm
    case $magic in
    P6) bytes=3 ;;
    *) bytes=$((maxval > 255 ? 2 : 1)) ;;
    esac
}

# bitsOf MAXVAL: that it takes
bitsOf() {
    local bits=1
    while [ $((1 << bits)) -le "$1" ]; do
        bits=$((bits + 1))
    done
    echo "$bits"
}

# noteSignificantBits: the reader of PNG leaves out the bits that a chunk sBIT says are none
noteSignificantBits() {
    local read
    read=$(bitsOf "$maxval")
    [ "$read" -ge "$pngBits" ] || changes+=("the $read bits of $pngBits taken that the chunk sBIT calls significant")
}

# toDepth MAXVAL
toDepth() {
    pnmdepth "$1" image.pnm >depth.pnm 2>netpbm.log
    mv depth.pnm image.pnm
    readShape
}

# takeRaster: from image.pnm, a PGM or PPM, to image.raw
takeRaster() {
    local size=$((width * height * bytes)) header
    header=$(head -n 3 image.pnm | wc -c)
    head -c $((header + size)) image.pnm | tail -c "$size" >image.raw
    [ "$bytes" -ne 2 ] || swapBytes image.raw
}

# swapBytes FILE: anymaps have the most significant byte first, raw files the least
swapBytes() {
    dd if="$1" of=swapped.raw conv=swab status=none
    mv swapped.raw "$1"
}

# toPng FILE: a raw file of the shape that is set, to standard output
toPng() {
    local raster=$1
    if [ "$bytes" -eq 2 ]; then
        cp "$1" keep.raw
        raster=keep.raw
        swapBytes "$raster"
    fi
    { printf 'P%d\n%d %d\n%d\n' $((bytes == 3 ? 6 : 5)) "$width" "$height" $(((1 << bits) - 1)) && cat "$raster"; } |
        pnmtopng 2>netpbm.log || refuse "pnmtopng made no PNG ($(tail -n 1 netpbm.log))."
}
