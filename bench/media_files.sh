#!/usr/bin/env bash
# Plays real files with the player and prints a table: file, type, result, frames drawn, late, dropped.
#
# usage: bench/media_files.sh [FILE ...]
#
# Without files: what these Debian packages hold, where they are installed (opencv-doc, xine-ui,
# sound-theme-freedesktop, desktop-base), and one clip of each common kind, made with ffmpeg in a
# temporary folder. Each file plays for at most five seconds, off screen. PLEXION names the launcher;
# build/release/bin/plexion otherwise.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
player=${PLEXION:-$root/build/release/bin/plexion}
[ -x "$player" ] || { echo "media_files: there is no launcher at $player; ./play builds it" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT

# make NAME ARGUMENT...: a clip of two seconds
make() {
  local name=$1
  shift
  ffmpeg -nostdin -loglevel error -y "$@" "$work/$name" 2>"$work/ffmpeg.log" ||
    echo "media_files: ffmpeg made no $name: $(tail -n 1 "$work/ffmpeg.log")" >&2
}

make_clips() {
  local -a picture=(-f lavfi -i "testsrc2=size=640x360:rate=25:duration=2")
  local -a sound=(-f lavfi -i "sine=frequency=440:duration=2")
  local -a both=("${picture[@]}" "${sound[@]}" -pix_fmt yuv420p)
  make h264-aac.mp4 "${both[@]}" -c:v libx264 -c:a aac
  make h264-mp3.mkv "${both[@]}" -c:v libx264 -c:a libmp3lame
  make h265-aac.mp4 "${both[@]}" -c:v libx265 -x265-params log-level=none -c:a aac
  make h264-10bit.mkv "${picture[@]}" -c:v libx264 -pix_fmt yuv420p10le
  make vp8-vorbis.webm "${both[@]}" -c:v libvpx -c:a libvorbis
  make vp9-opus.webm "${both[@]}" -c:v libvpx-vp9 -deadline realtime -c:a libopus
  make av1.mkv "${picture[@]}" -pix_fmt yuv420p -c:v libaom-av1 -cpu-used 8 -t 0.5
  make theora.ogv "${both[@]}" -c:v libtheora -c:a libvorbis
  make mpeg2.ts "${both[@]}" -c:v mpeg2video -c:a mp2
  make mpeg1.mpg "${both[@]}" -c:v mpeg1video -c:a mp2
  make mpeg4.avi "${both[@]}" -c:v mpeg4 -c:a libmp3lame
  make mjpeg.avi "${picture[@]}" -pix_fmt yuvj420p -c:v mjpeg
  make prores.mov "${picture[@]}" -c:v prores
  make wmv2.wmv "${both[@]}" -c:v wmv2 -c:a wmav2
  make flv.flv "${both[@]}" -c:v flv -c:a libmp3lame -ar 44100
  local name
  for name in mp3.mp3 flac.flac opus.opus vorbis.ogg wav.wav aac.m4a aac.aac aiff.aiff ac3.ac3; do
    make "sound-$name" "${sound[@]}"
  done
  for name in png.png jpeg.jpg bmp.bmp tiff.tif webp.webp ppm.ppm tga.tga jp2.jp2; do
    make "picture-$name" "${picture[@]}" -frames:v 1
  done
  make picture-transparent.png -f lavfi -i "color=red@0.5:size=640x360,format=rgba" -frames:v 1
  make animated.gif -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2"
  make animated.apng -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -f apng -plays 1
  make animated.webp -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -loop 1
}

files=("$@")
if [ ${#files[@]} = 0 ]; then
  make_clips
  for packed in /usr/share/doc/opencv-doc/opencv4/html/*.mp4.gz; do
    if [ -e "$packed" ]; then gunzip -c "$packed" >"$work/opencv-$(basename "${packed%.gz}")"; fi
  done
  mapfile -t files < <(
    find "$work" /usr/share/doc/opencv-doc /usr/share/xine/skins /usr/share/sounds/freedesktop \
      /usr/share/desktop-base /usr/share/backgrounds -type f \( -name '*.avi' -o -name '*.mp4' \
      -o -name '*.mpg' -o -name '*.mkv' -o -name '*.webm' -o -name '*.ogv' -o -name '*.ts' \
      -o -name '*.mov' -o -name '*.wmv' -o -name '*.flv' -o -name '*.mp3' -o -name '*.flac' \
      -o -name '*.opus' -o -name '*.og[ag]' -o -name '*.wav' -o -name '*.m4a' -o -name '*.aac' \
      -o -name '*.aiff' -o -name '*.ac3' -o -name '*.png' -o -name '*.jpg' -o -name '*.bmp' \
      -o -name '*.tif' -o -name '*.webp' -o -name '*.ppm' -o -name '*.tga' -o -name '*.jp2' \
      -o -name '*.gif' -o -name '*.apng' -o -name '*.svg' \) 2>/dev/null | sort)
fi

number() { # number NAME: the count behind it in the player's lines
  sed -n "s/.*$1 \([0-9]*\).*/\1/p" "$work/out" | tail -n 1
}

printf '| file | type | result | frames drawn | replaced | dropped | painted late |\n'
printf '| --- | --- | --- | --- | --- | --- | --- |\n'
for file in "${files[@]}"; do
  status=0
  timeout 30 "$player" --display headless --exit-after 5000 --instrument \
    --morvelvars "duration=0.2" "$file" >"$work/out" 2>&1 || status=$?
  type=$(sed -n 's/^Media: .*: \([a-z]*\/[^,]*\), .*/\1/p' "$work/out" | tail -n 1)
  if [ $status = 0 ]; then
    result=plays
  else
    result=$(sed -n 's/^plexion: .*\(kError\)/\1/p' "$work/out" | tail -n 1)
    [ -n "$result" ] || result="exit $status"
  fi
  printf '| %s | %s | %s | %s | %s | %s | %s |\n' "$(basename "$file")" "${type:--}" "$result" \
    "$(number 'frames drawn')" "$(number 'replaced before that')" \
    "$(number 'dropped as too late')" "$(number 'painted late')"
done
