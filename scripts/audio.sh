# What the scripts that take audio files share. They stand in $start when called, write into the
# folder $output, and define launch, which plays a pipeline and leaves what it prints in $log.

# find_file NAME: leaves in $input the path of a file that a user names, if it may hold audio.
find_file() {
  name=$1
  case $name in
    /*) input=$name ;;
    *) input=$start/$name ;;
  esac
  [ -e "$input" ] || fail "there is no file $name; see to its spelling"
  [ -f "$input" ] || fail "$name is a folder or a device; give the name of an audio file"
  [ -r "$input" ] || fail "$name may not be read by $(id -un); change its permissions or copy it"
  [ -s "$input" ] || fail "$name is empty; give a file that holds audio"
  case $(realpath -- "$input") in
    "$(realpath .)/$output"/*) fail "$name is in a folder that is written here; copy it elsewhere" ;;
  esac
}

# make_wav FILE NAME WAV LEAST: makes a WAV file of at least so many samples, 48000 Hz, 16 bit, mono.
make_wav() {
  # GStreamer has its own rules for special characters, and a link none.
  ln -sfn "$1" $output/input
  launch filesrc location=$output/input ! decodebin caps=audio/x-raw expose-all-streams=false ! \
    audioconvert ! audioresample ! audio/x-raw,format=S16LE,rate=48000,channels=1 ! \
    wavenc ! filesink location="$3" || {
    why=$(sed -n '/^ERROR/ { s/.*: //; s/\.$//; p; q; }' "$log")
    fail "no audio in $2 (${why:-see $log}); give a WAV, FLAC, Ogg or MP3 file"
  }
  # The header says how much of the file is samples, unless there are none.
  bytes=$(od -A n -t u4 -j 40 -N 4 "$3")
  [ "$(wc -c <"$3")" -gt 44 ] || bytes=0
  [ $((bytes / 2)) -ge "$4" ] ||
    fail "$2 holds $((bytes / 2)) samples, less than $4 ($(($4 / 48)) ms); give a longer one"
}

# join_voices WAV: makes one file of Debian's recorded speech, one after another the eight loudspeakers
# that a voice names.
join_voices() {
  set -- concat name=joined ! wavenc ! filesink location="$1"
  for voice in /usr/share/sounds/alsa/*_*.wav; do
    set -- "$@" filesrc location="$voice" ! wavparse ! joined.
  done
  launch "$@" || fail "Debian's recorded speech cannot be read, see $log"
}
