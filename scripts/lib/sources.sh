# The sources without what is built from them, for the scripts beside this folder. To be sourced.

# What is in this repository, as a plain folder.
copy_sources() {  # FOLDER
  local files file
  if files=$(git ls-files 2>/dev/null) && [ -n "$files" ]; then
    git ls-files -z
  else
    find . -type f -not -path './build/*' -print0
  fi | while IFS= read -r -d '' file; do
    # Git also knows files that were deleted and not yet committed.
    if [ -e "$file" ] || [ -L "$file" ]; then
      printf '%s\0' "$file"
    fi
  done | tar --create --null --files-from=- --file=- | tar --extract --directory="$1"
}
