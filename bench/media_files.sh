#!/usr/bin/env bash
# Plays real files with the player and prints a table: file, type, what it is, result, frames.
#
# usage: bench/media_files.sh [FILE ...]
#
# Without files: what these Debian packages hold, where they are installed (opencv-doc, xine-ui,
# sound-theme-freedesktop, desktop-base, gnome-backgrounds), and one clip of each common kind and of
# the less usual ones, made with ffmpeg. Each file plays for at most eight seconds, off screen. A broken
# file ends with a status and a message, which the table then shows.
#
# PLEXION names the launcher; build/release/bin/plexion otherwise. CLIPS names a folder to keep the
# made clips in, and to take them from when they are there; SNAPSHOTS one for a picture of each file.
set -euo pipefail

root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
player=${PLEXION:-$root/build/release/bin/plexion}
[ -x "$player" ] || { echo "media_files: there is no launcher at $player; ./play builds it" >&2; exit 1; }
work=$(mktemp -d)
trap 'rm -rf -- "$work"' EXIT
clips=${CLIPS:-$work/clips}
mkdir -p "$clips"

# make NAME ARGUMENT...: a clip, unless it is there
make() {
  local name=$1
  shift
  if [ -s "$clips/$name" ]; then return; fi
  ffmpeg -nostdin -loglevel error -y "$@" "$clips/$name" 2>"$work/ffmpeg.log" || {
    echo "media_files: ffmpeg made no $name: $(tail -n 1 "$work/ffmpeg.log")" >&2
    rm -f -- "$clips/$name"
  }
}

picture=(-f lavfi -i "testsrc2=size=640x360:rate=25:duration=2")
sound=(-f lavfi -i "sine=frequency=440:duration=2")
both=("${picture[@]}" "${sound[@]}" -pix_fmt yuv420p)
h264=(-c:v libx264 -preset veryfast -pix_fmt yuv420p)

make_videos() {
  make h264-aac.mp4 "${both[@]}" "${h264[@]}" -c:a aac
  make h264-mp3.mkv "${both[@]}" "${h264[@]}" -c:a libmp3lame
  make h264.264 "${picture[@]}" "${h264[@]}"
  make h264-10bit.mkv "${picture[@]}" -c:v libx264 -preset veryfast -pix_fmt yuv420p10le
  make h264-444.mp4 "${picture[@]}" -c:v libx264 -preset veryfast -pix_fmt yuv444p
  make h264-ac3.mp4 "${both[@]}" "${h264[@]}" -c:a ac3
  make h264-fragmented.mp4 "${both[@]}" "${h264[@]}" -c:a aac -movflags frag_keyframe+empty_moov
  make h265-aac.mp4 "${both[@]}" -c:v libx265 -x265-params log-level=none -c:a aac
  make h265-10bit.mkv "${picture[@]}" -c:v libx265 -x265-params log-level=none -pix_fmt yuv420p10le
  make vp8-vorbis.webm "${both[@]}" -c:v libvpx -c:a libvorbis
  make vp9-opus.webm "${both[@]}" -c:v libvpx-vp9 -deadline realtime -c:a libopus
  make av1.mkv "${picture[@]}" -pix_fmt yuv420p -c:v libaom-av1 -cpu-used 8 -t 0.5
  make av1.mp4 "${picture[@]}" -pix_fmt yuv420p -c:v libaom-av1 -cpu-used 8 -t 0.5
  make theora.ogv "${both[@]}" -c:v libtheora -c:a libvorbis
  make mpeg2.ts "${both[@]}" -c:v mpeg2video -c:a mp2
  make h264.m2ts "${both[@]}" "${h264[@]}" -c:a ac3 -mpegts_m2ts_mode 1
  make h264.ts "${both[@]}" "${h264[@]}" -c:a aac
  make mpeg1.mpg "${both[@]}" -c:v mpeg1video -c:a mp2
  make mpeg2.vob "${both[@]}" -c:v mpeg2video -c:a ac3
  make mpeg2.m2v "${picture[@]}" -pix_fmt yuv420p -c:v mpeg2video
  make mpeg4.avi "${both[@]}" -c:v mpeg4 -c:a libmp3lame
  make mpeg4.3gp "${both[@]}" -c:v mpeg4 -c:a aac
  make h263.3gp -f lavfi -i "testsrc2=size=352x288:rate=25:duration=2" -c:v h263
  make mjpeg.avi "${picture[@]}" -pix_fmt yuvj420p -c:v mjpeg
  make mjpeg.mov "${picture[@]}" -pix_fmt yuvj420p -c:v mjpeg
  make raw.avi "${picture[@]}" -c:v rawvideo -pix_fmt bgr24 -t 0.5
  make prores.mov "${picture[@]}" -c:v prores
  make prores-alpha.mov -f lavfi -i "color=red@0.5:size=320x180:rate=25:duration=1,format=yuva444p10le" \
    -c:v prores_ks -profile:v 4444
  make dnxhd.mxf -f lavfi -i "testsrc2=size=1280x720:rate=25:duration=0.7" -c:v dnxhd -b:v 60M \
    -pix_fmt yuv422p
  make dv.dv -f lavfi -i "testsrc2=size=720x576:rate=25:duration=0.7" -pix_fmt yuv420p -c:v dvvideo
  make wmv2.wmv "${both[@]}" -c:v wmv2 -c:a wmav2
  make flv.flv "${both[@]}" -c:v flv -c:a libmp3lame -ar 44100
  make h264.flv "${both[@]}" "${h264[@]}" -c:a aac
  make ffv1.mkv "${picture[@]}" -c:v ffv1
  make vp9-alpha.webm -f lavfi -i "color=red@0.5:size=320x180:rate=25:duration=1,format=yuva420p" \
    -c:v libvpx-vp9 -deadline realtime
}

make_unusual_videos() {
  make odd-size.webm -f lavfi -i "testsrc2=size=641x359:rate=25:duration=0.7" -c:v libvpx
  make tiny.mp4 -f lavfi -i "testsrc2=size=16x16:rate=25:duration=0.7" "${h264[@]}"
  make wide-pixels.mp4 -f lavfi -i "testsrc2=size=720x576:rate=25:duration=0.7" "${h264[@]}" -aspect 16:9
  make portrait.mp4 -f lavfi -i "testsrc2=size=360x640:rate=25:duration=0.7" "${h264[@]}"
  make turned.mp4 -i "$clips/h264-aac.mp4" -c copy -metadata:s:v:0 rotate=90
  make interlaced.mpg -f lavfi -i "testsrc2=size=720x576:rate=50:duration=2" -vf interlace \
    -pix_fmt yuv420p -c:v mpeg2video -flags +ildct+ilme
  make variable-rate.mkv "${picture[@]}" "${h264[@]}" -vf "setpts='if(lt(N,25),N,25+(N-25)*3)/25/TB'" \
    -fps_mode vfr
  make 50fps-1080p.mp4 -f lavfi -i "testsrc2=size=1920x1080:rate=50:duration=3" "${h264[@]}"
  make 2160p.mp4 -f lavfi -i "testsrc2=size=3840x2160:rate=25:duration=0.7" "${h264[@]}"
  make one-frame.mp4 "${picture[@]}" "${h264[@]}" -frames:v 1
  make one-frame-with-sound.mp4 -f lavfi -i "testsrc2=size=640x360:rate=25" "${sound[@]}" "${h264[@]}" \
    -frames:v 1 -c:a aac
  make sound-longer.mp4 "${picture[@]}" -f lavfi -i "sine=duration=4" "${h264[@]}" -c:a aac
  make 5.1-sound.mp4 "${picture[@]}" -f lavfi -i "sine=duration=2" "${h264[@]}" -c:a aac -ac 6
  printf '1\n00:00:00,000 --> 00:00:02,000\nA subtitle\n' >"$work/text.srt"
  make subtitles.mkv "${picture[@]}" "${sound[@]}" -i "$work/text.srt" "${h264[@]}" -c:a aac -c:s srt
  make attachment.mkv "${both[@]}" "${h264[@]}" -c:a aac -attach "$work/text.srt" \
    -metadata:s:t mimetype=text/plain
  if [ -s "$clips/h264-aac.mp4" ]; then
    head -c 60000 "$clips/h264-mp3.mkv" >"$clips/cut.mkv"
    head -c 60000 "$clips/h264-aac.mp4" >"$clips/cut.mp4"
    head -c 60000 "$clips/h264.ts" >"$clips/cut.ts"
  fi
  printf 'This is no video.\n' >"$clips/text.mp4"
  head -c 20000 /dev/zero >"$clips/zeros.avi"
  : >"$clips/empty.mkv"
}

make_sounds() {
  local name
  for name in mp3.mp3 flac.flac opus.opus vorbis.ogg wav.wav aac.m4a aac.aac aiff.aiff ac3.ac3 au.au \
    wma.wma mp2.mp2 eac3.eac3 matroska.mka caf.caf; do
    make "sound-$name" "${sound[@]}"
  done
  make sound-24bit.wav "${sound[@]}" -c:a pcm_s24le
  make sound-8bit.wav "${sound[@]}" -c:a pcm_u8 -ar 11025
  make sound-float.wav "${sound[@]}" -c:a pcm_f32le
  make sound-adpcm.wav "${sound[@]}" -c:a adpcm_ms
  make sound-alac.m4a "${sound[@]}" -c:a alac
  make sound-flac.oga "${sound[@]}" -c:a flac
  make sound-speex.spx "${sound[@]}" -ar 16000 -c:a libspeex
  make sound-dts.dts "${sound[@]}" -strict -2 -ar 48000 -c:a dca
  make sound-hires.flac "${sound[@]}" -ar 96000 -sample_fmt s32
  make cover.jpg -f lavfi -i "testsrc2=size=300x300" -frames:v 1
  make sound-cover.mp3 "${sound[@]}" -i "$clips/cover.jpg" -map 0 -map 1 -c:v copy -id3v2_version 3 \
    -disposition:v attached_pic
  make sound-cover.m4a "${sound[@]}" -i "$clips/cover.jpg" -map 0 -map 1 -c:v copy \
    -disposition:v attached_pic
  make sound-cover.flac "${sound[@]}" -i "$clips/cover.jpg" -map 0 -map 1 -c:v copy \
    -disposition:v attached_pic
}

make_pictures() {
  local name
  for name in png.png jpeg.jpg bmp.bmp tiff.tif webp.webp ppm.ppm pgm.pgm tga.tga jp2.jp2 gif.gif \
    exr.exr; do
    make "picture-$name" "${picture[@]}" -frames:v 1
  done
  make picture-transparent.png -f lavfi -i "color=red@0.5:size=640x360,format=rgba" -frames:v 1
  make picture-16bit.png "${picture[@]}" -frames:v 1 -pix_fmt rgb48be
  make picture-palette.png "${picture[@]}" -frames:v 1 -pix_fmt pal8
  make picture-grey.png "${picture[@]}" -frames:v 1 -pix_fmt gray
  make picture-grey.jpg "${picture[@]}" -frames:v 1 -pix_fmt gray
  make picture-444.jpg "${picture[@]}" -frames:v 1 -pix_fmt yuvj444p
  make picture-4k.jpg -f lavfi -i "testsrc2=size=3840x2160" -frames:v 1
  make picture-12k.png -f lavfi -i "testsrc2=size=12000x3000" -frames:v 1
  make picture-2x2.png -f lavfi -i "color=blue:size=2x2" -frames:v 1
  make animated.gif -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2"
  make animated-once.gif -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -loop -1
  make animated-25fps.gif -f lavfi -i "testsrc2=size=640x360:rate=25:duration=2"
  make animated.apng -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -f apng -plays 1
  make animated-transparent.apng -f lavfi \
    -i "color=red@0.5:size=320x180:rate=10:duration=1,format=rgba" -f apng
  make animated.webp -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -loop 1
  make animated-lossless.webp -f lavfi -i "testsrc2=size=320x180:rate=10:duration=2" -lossless 1
  make transparent.webp -f lavfi -i "color=red@0.5:size=320x180,format=rgba" -lossless 1 -frames:v 1
  for name in picture-png.png picture-jpeg.jpg animated.gif animated.apng animated.webp; do
    head -c $(($(stat -c %s "$clips/$name") * 2 / 3)) "$clips/$name" >"$clips/cut-$name"
  done
}

files=("$@")
if [ ${#files[@]} = 0 ]; then
  make_videos
  make_unusual_videos
  make_sounds
  make_pictures
  for packed in /usr/share/doc/opencv-doc/opencv4/html/*.mp4.gz; do
    if [ -e "$packed" ]; then gunzip -c "$packed" >"$work/opencv-$(basename "${packed%.gz}")"; fi
  done
  # The two thousand pictures of opencv-doc's manual are left out.
  mapfile -t files < <(
    find "$work" /usr/share/doc/opencv-doc/examples/data /usr/share/xine/skins \
      /usr/share/sounds/freedesktop /usr/share/desktop-base/emerald-theme \
      /usr/share/backgrounds/gnome -type f \
      -regextype posix-extended -iregex '.*\.(avi|mpe?g|mp4|og[agv]|wav|png|jpe?g|webp|gif|svg|tiff?)' \
      2>/dev/null | sort
    find /usr/share/doc/opencv-doc/opencv4/html -name '*.gif' 2>/dev/null | sort
    find "$clips" -type f | sort)
fi

number() { # number NAME: the count behind it in the player's lines
  sed -n "s/.*$1 \([0-9]*\).*/\1/p" "$work/out" | tail -n 1
}

printf '| file | type | shown as | result | frames drawn | left out | late |\n'
printf '| --- | --- | --- | --- | --- | --- | --- |\n'
for file in "${files[@]}"; do
  status=0
  snapshot=()
  if [ -n "${SNAPSHOTS:-}" ]; then
    snapshot=(--snapshot "$SNAPSHOTS/$(basename "$file").png" --snapshot-at 500)
  fi
  timeout 30 "$player" --display headless --exit-after 8000 --instrument "${snapshot[@]}" \
    --morvelvars "duration=0.7" "$file" >"$work/out" 2>&1 || status=$?
  type=$(sed -n 's/^Media: .*: \([a-z]*\/[^,]*\), .*/\1/p' "$work/out" | tail -n 1)
  kind=$(sed -n 's/^Media: .*: [a-z]*\/[^,]*, \([a-z ]*\).*/\1/p' "$work/out" | tail -n 1)
  if [ $status = 0 ]; then
    result=plays
  else
    result=$(sed -n 's/^plexion: .*\(kError\)/\1/p' "$work/out" | tail -n 1)
    [ -n "$result" ] || result="exit $status"
  fi
  if [ $status = 0 ] && [ "$(number 'frames drawn')" = 0 ]; then result="shows nothing in eight seconds"; fi
  # Libraries must not write on the operator's terminal.
  others=$(grep -E 'WARNING|CRITICAL|ERROR|@ 0x|^\*\*|^Media: .*(is damaged|plays without)' "$work/out" |
    head -n 1 || true)
  [ -z "$others" ] || result="$result (also says: $others)"
  printf '| %s | %s | %s | %s | %s | %s | %s |\n' "$(basename "$file")" "${type:--}" "${kind:--}" \
    "$result" "$(number 'frames drawn')" "$(number 'left out')" "$(number 'painted late')"
done
