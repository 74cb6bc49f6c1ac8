# Sourced by the scripts of this folder: moves to the repository and installs, on Debian, the tools that are missing.
# Works as root and as a user with sudo, and says what it installs.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

oldest_node=20
fetched_node=22

as_root() {
  if [ "$(id -u)" = 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    echo "Installing packages needs root or sudo: $*" >&2
    exit 1
  fi
}

install_packages() {
  if ! command -v apt-get >/dev/null; then
    echo "Please install: $*" >&2
    exit 1
  fi
  echo "Installing Debian packages: $*"
  as_root apt-get update -q >/dev/null
  as_root env DEBIAN_FRONTEND=noninteractive DEBCONF_NOWARNINGS=yes apt-get install -qy --no-install-recommends "$@" >/dev/null
}

# need THING:PACKAGE ...: a thing is a command, or a file by its absolute path.
need() {
  local missing=() entry thing
  for entry in "$@"; do
    thing=${entry%%:*}
    case $thing in
      /*) [ -e "$thing" ] || missing+=("${entry#*:}") ;;
      *) command -v "$thing" >/dev/null || missing+=("${entry#*:}") ;;
    esac
  done
  [ ${#missing[@]} = 0 ] || install_packages "${missing[@]}"
}

node_is_new_enough() {
  command -v node >/dev/null && [ "$(node -p 'process.versions.node.split(".")[0]')" -ge "$oldest_node" ]
}

node_has_headers() { node script/build-addon.js --headers >/dev/null 2>&1; }

# The Node.js releases of the npm registry carry their headers along. npm takes a foreign processor's only by force.
fetch_node() { # VERSION FOLDER [PROCESSOR]
  local package
  package=node-linux-${3:-$(uname -m | sed 's/x86_64/x64/; s/aarch64/arm64/')}
  echo "Fetching Node.js $1 from the npm registry into $2"
  mkdir -p "$2"
  npm install --loglevel=error --no-save --no-package-lock ${3:+--force} --prefix "$2" "$package@$1" >/dev/null
  ln -sfn "node_modules/$package/bin" "$2/bin"
  ln -sfn "node_modules/$package/include" "$2/include"
}

# Also what headers are taken from: those of a release are the same for all processors.
need_node_release() { # VERSION
  [ -x "build/node-versions/$1/bin/node" ] || fetch_node "$1" "$PWD/build/node-versions/$1"
}

need_node() {
  local fetched=$PWD/build/node
  [ ! -x "$fetched/bin/node" ] || PATH=$fetched/bin:$PATH
  command -v node >/dev/null || need node:nodejs
  need npm:npm
  if node_is_new_enough && ! node_has_headers; then
    need /usr/include/node/node.h:libnode-dev || true
  fi
  if ! node_is_new_enough || ! node_has_headers; then
    fetch_node "$fetched_node" "$fetched"
    PATH=$fetched/bin:$PATH
  fi
  export PATH
}

need_build_tools() {
  need cmake:cmake ninja:ninja-build make:make g++:g++ /usr/include/gtest/gtest.h:libgtest-dev \
    /usr/include/gmock/gmock.h:libgmock-dev
  need_node
}

# Lays out a package around native entries that were built elsewhere; VORTENA_PACKAGE makes the tests take it.
pack_module() { # BUILD FOLDER
  mkdir -p "$2/build/Release" "$2/src"
  cp index.js outputs.js promises.js "$2/"
  cp -r src/loading.js src/promises src/requests "$2/src/"
  cp "$1/addon.node" "$1/vortena.node" "$2/build/Release/"
}

# A call that waits for ever fails its own file of tests: the runner kills it and goes on with the others. Files are named
# because Node.js 22 and newer take a folder for a module; so is the reporter, as the default differs as well.
run_module_tests() { # --test-reporter=REPORTER
  node --test --test-timeout=300000 "$1" tests/js/*.test.js
}
