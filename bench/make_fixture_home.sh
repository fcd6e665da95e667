#!/usr/bin/env bash
# Builds a pretend home folder for looking at the window and timing it: the model
# applications (Ollama, LM Studio, Jan and AnythingLLM installed with icons; GPT4All and
# Draw Things uninstalled, so their models are orphans), the Hugging Face cache (with an
# old revision and a dataset) and llama.cpp's (with a split model missing a part),
# installations of ComfyUI, Forge and text-generation-webui,
# likely duplicates, a few leftovers (about 1.2 GB really allocated), two custom folders
# ("Models 9", "Models 10") and, with --bulk N, N more models in a third custom folder.
# Model files are sparse: gigabytes on paper, nothing on disk. The GGUF and safetensors
# files and Ollama's blobs carry real headers (bench/model_files.py), so every model
# says what it is; the bulk models are bare sparse files.
#
#   bench/make_fixture_home.sh DIR [--bulk N]
# then run Stashwell with HOME=DIR XDG_DATA_HOME=DIR/.local/share XDG_CONFIG_HOME=DIR/.config
# XDG_CACHE_HOME=DIR/.cache
# and DIR/bin first on PATH.
set -euo pipefail
home=${1:?usage: make_fixture_home.sh DIR [--bulk N]}
bulk=0
[ "${2:-}" = "--bulk" ] && bulk=${3:?--bulk needs a number}
root=$(cd "$(dirname "$0")/.." && pwd)
cli=${STASHWELL_CLI:-${STASHWELL_BUILD_DIR:-$root/build}/src/cli/stashwell-cli}

rm -rf "$home"
mkdir -p "$home"
home=$(cd "$home" && pwd)
export HOME=$home XDG_DATA_HOME=$home/.local/share XDG_CONFIG_HOME=$home/.config XDG_CACHE_HOME=$home/.cache

models=$root/bench/model_files.py
gguf() { # gguf FILE ARCH LAYERS EMBEDDING VOCABULARY FILE_TYPE CONTEXT: a real header, sparse weights
    python3 "$models" gguf "$1" --arch "$2" --layers "$3" --embedding "$4" --vocab "$5" --file-type "$6" --context "$7"
}
sparse() { # sparse SIZE FILE...
    local size=$1; shift
    for file in "$@"; do mkdir -p "$(dirname "$file")"; done
    truncate -s "$size" "$@"
}
app_icon() { # app_icon FILE COLOUR LETTER
    mkdir -p "$(dirname "$1")"
    cat > "$1" <<SVG
<svg xmlns="http://www.w3.org/2000/svg" width="64" height="64" viewBox="0 0 64 64">
  <rect x="4" y="4" width="56" height="56" rx="14" fill="$2"/>
  <text x="32" y="43" font-family="DejaVu Sans" font-size="30" font-weight="bold" fill="#fff" text-anchor="middle">$3</text>
</svg>
SVG
}
desktop_entry() { # desktop_entry FILE NAME EXEC ICON
    mkdir -p "$(dirname "$1")"
    printf '[Desktop Entry]\nType=Application\nName=%s\nExec=%s\nIcon=%s\n' "$2" "$3" "$4" > "$1"
}
program() { mkdir -p "$(dirname "$1")"; printf '#!/bin/sh\n' > "$1"; chmod +x "$1"; }

# Ollama: installed (a program on PATH), four models in its store.
program "$home/bin/ollama"
app_icon "$home/.local/share/icons/ollama.svg" "#111827" "O"
desktop_entry "$XDG_DATA_HOME/applications/ollama_ollama.desktop" Ollama ollama "$home/.local/share/icons/ollama.svg"
store=$home/.ollama/models
ollama_model() { # ollama_model NAME TAG DIGEST SIZE_LABEL QUANTIZATION GGUF_ARGUMENTS...
    local digest=$3 blob=$store/blobs/sha256-$3 config=$store/blobs/sha256-c$3
    gguf "$blob" "${@:6}"
    python3 "$models" ollama-config "$config" --arch "$6" --size-label "$4" --quantization "$5"
    mkdir -p "$store/manifests/registry.ollama.ai/library/$1"
    printf '{"schemaVersion":2,"config":{"digest":"sha256:c%s","mediaType":"application/vnd.ollama.image.config","size":%s},"layers":[{"digest":"sha256:%s","mediaType":"application/vnd.ollama.image.model","size":%s}]}' \
        "$digest" "$(stat -c %s "$config")" "$digest" "$(stat -c %s "$blob")" > "$store/manifests/registry.ollama.ai/library/$1/$2"
}
ollama_model llama3.1 8b a1 8.0B Q4_K_M llama 32 4096 128256 15 131072
ollama_model qwen2.5-coder 7b b2 7.6B Q4_K_M qwen2 28 3584 152064 15 32768
ollama_model mistral latest c3 7.2B Q4_0 llama 32 4096 32768 2 32768
ollama_model nomic-embed-text latest d4 137M F16 nomic-bert 12 768 30522 1 2048

# LM Studio: installed as an AppImage, with a desktop entry and its icon.
program "$home/Applications/LM-Studio-0.3.5-x64.AppImage"
app_icon "$home/.local/share/icons/lm-studio.svg" "#6d28d9" "L"
desktop_entry "$XDG_DATA_HOME/applications/lm-studio.desktop" "LM Studio" lm-studio "$home/.local/share/icons/lm-studio.svg"
gguf "$home/.lmstudio/models/lmstudio-community/Meta-Llama-3.1-8B-Instruct-GGUF/Meta-Llama-3.1-8B-Instruct-Q4_K_M.gguf" llama 32 4096 128256 15 131072
gguf "$home/.lmstudio/models/bartowski/gemma-2-9b-it-GGUF/gemma-2-9b-it-Q6_K.gguf" gemma2 42 3584 256000 18 8192
gguf "$home/.lmstudio/models/lmstudio-community/Phi-3.5-mini-instruct-GGUF/Phi-3.5-mini-instruct-Q4_K_M.gguf" phi3 32 3072 32064 15 131072

# Jan: installed (desktop entry), one model.
program "$home/bin/jan"
app_icon "$home/.local/share/icons/jan.svg" "#0ea5e9" "J"
desktop_entry "$XDG_DATA_HOME/applications/jan.desktop" Jan jan "$home/.local/share/icons/jan.svg"
gguf "$XDG_DATA_HOME/Jan/data/llamacpp/models/mistral-7b-instruct-v0.3/model.gguf" llama 32 4096 32768 15 32768

# GPT4All and Draw Things: gone, their models left behind (orphans).
gguf "$home/.cache/gpt4all/Meta-Llama-3-8B-Instruct.Q4_0.gguf" llama 32 4096 128256 2 8192
gguf "$home/.cache/gpt4all/Phi-3-mini-4k-instruct.Q4_0.gguf" phi3 32 3072 32064 2 4096
sparse 2132626066 "$home/Library/Containers/com.liuliu.draw-things/Data/Documents/Models/sd_xl_base_1.0_f16.ckpt"

# Custom folders: a copy of an LM Studio download (a likely duplicate) and more.
gguf "$home/Models 9/mistral-7b-instruct-v0.3.gguf" llama 32 4096 32768 15 32768
gguf "$home/Models 9/deepseek-coder-6.7b-instruct.Q4_K_M.gguf" llama 32 4096 32256 15 16384
gguf "$home/Models 10/llama-2-13b-chat.Q2_K.gguf" llama 40 5120 32000 10 4096
gguf "$home/Models 10/Meta-Llama-3-8B-Instruct.Q4_0.gguf" llama 32 4096 128256 2 8192
python3 "$models" safetensors "$home/Models 10/qwen2.5-1.5b-instruct.safetensors" --layers 28 --embedding 1536

# The Hugging Face hub cache: one repository whose snapshots link into its blobs, a copy
# of LM Studio's Llama download (a likely duplicate); and llama.cpp's own cache.
hf_repo=$home/.cache/huggingface/hub/models--bartowski--Meta-Llama-3.1-8B-Instruct-GGUF
gguf "$hf_repo/blobs/5f0e1a" llama 32 4096 128256 15 131072
mkdir -p "$hf_repo/refs" "$hf_repo/snapshots/0a1b2c"
printf '0a1b2c' > "$hf_repo/refs/main"
ln -s ../../blobs/5f0e1a "$hf_repo/snapshots/0a1b2c/Meta-Llama-3.1-8B-Instruct-Q4_K_M.gguf"
# An older revision main no longer names, whose weights were replaced since.
gguf "$hf_repo/blobs/3c4d5e" llama 32 4096 128256 7 131072
mkdir -p "$hf_repo/snapshots/9f8e7d"
ln -s ../../blobs/3c4d5e "$hf_repo/snapshots/9f8e7d/Meta-Llama-3.1-8B-Instruct-Q4_K_M.gguf"
# A dataset, written where links could not be made: the snapshot holds the files.
hf_data=$home/.cache/huggingface/hub/datasets--HuggingFaceFW--fineweb-edu
sparse 2147483648 "$hf_data/snapshots/4863ab/data/train-00000-of-00002.parquet" "$hf_data/snapshots/4863ab/data/train-00001-of-00002.parquet"
mkdir -p "$hf_data/refs" && printf '4863ab' > "$hf_data/refs/main"
gguf "$home/.cache/llama.cpp/Qwen2.5-3B-Instruct-Q4_K_M.gguf" qwen2 36 2048 151936 15 32768
# A model split into three parts, the second of which is not there.
sparse 9989000000 "$home/.cache/llama.cpp/Qwen2.5-32B-Instruct-Q4_K_M-00001-of-00003.gguf" \
    "$home/.cache/llama.cpp/Qwen2.5-32B-Instruct-Q4_K_M-00003-of-00003.gguf"

# AnythingLLM: installed by its installer (~/AnythingLLMDesktop), its own Ollama holding
# a copy of an Ollama model (a likely duplicate).
program "$home/AnythingLLMDesktop/anythingllm-desktop/anythingllm-desktop"
ln -s anythingllm-desktop/anythingllm-desktop "$home/AnythingLLMDesktop/start"
app_icon "$home/.local/share/icons/anythingllm.svg" "#0f766e" "A"
desktop_entry "$XDG_DATA_HOME/applications/anythingllm-desktop.desktop" AnythingLLM \
    "$home/AnythingLLMDesktop/start" "$home/.local/share/icons/anythingllm.svg"
store=$XDG_CONFIG_HOME/anythingllm-desktop/storage/models/ollama ollama_model llama3.1 8b a1 8.0B Q4_K_M llama 32 4096 128256 15 131072
store=$home/.ollama/models

# Applications run from a folder of their own: ComfyUI (a checkout) with a second folder
# of models named in its extra_model_paths.yaml, Forge with its checkpoints moved by
# --ckpt-dir (a copy of ComfyUI's SDXL among them), and text-generation-webui.
comfy=$home/ComfyUI
mkdir -p "$comfy/comfy" && touch "$comfy/main.py"
python3 "$models" safetensors "$comfy/models/checkpoints/sd_xl_base_1.0.safetensors" --layers 24 --embedding 2048 --dtype F16
touch "$comfy/models/checkpoints/put_checkpoints_here"
python3 "$models" safetensors "$comfy/models/diffusion_models/flux1-dev.safetensors" --layers 57 --embedding 3072 --dtype BF16
sparse 9787841024 "$comfy/models/text_encoders/t5xxl_fp16.safetensors"
sparse 334641164 "$comfy/models/vae/sdxl_vae.safetensors"
printf 'shared:\n    base_path: ~/AI/shared\n    checkpoints: checkpoints\n    loras: loras\n' > "$comfy/extra_model_paths.yaml"
sparse 2132625894 "$home/AI/shared/checkpoints/dreamshaper_8.safetensors"
sparse 228456880 "$home/AI/shared/loras/add-detail-xl.safetensors"
forge=$home/AI/stable-diffusion-webui-forge
mkdir -p "$forge/modules" && touch "$forge/webui.py" "$forge/launch.py"
printf '#!/bin/bash\nexport COMMANDLINE_ARGS="--ckpt-dir $HOME/AI/checkpoints"\n' > "$forge/webui-user.sh"
python3 "$models" safetensors "$home/AI/checkpoints/sd_xl_base_1.0.safetensors" --layers 24 --embedding 2048 --dtype F16
sparse 7105348284 "$home/AI/checkpoints/juggernautXL_v9.safetensors"
sparse 151113010 "$forge/models/Lora/detail_tweaker.safetensors"
tgw=$home/AI/text-generation-webui
mkdir -p "$tgw/modules" && touch "$tgw/server.py"
gguf "$tgw/user_data/models/Mistral-7B-Instruct-v0.3.Q4_K_M.gguf" llama 32 4096 32768 15 32768
sparse 7259435008 "$tgw/user_data/models/TheBloke_Llama-2-13B-chat-GPTQ/model.safetensors"
printf '{}\n' > "$tgw/user_data/models/TheBloke_Llama-2-13B-chat-GPTQ/config.json"

# Leftovers: an Ollama download that stopped, a blob of a model removed since, and an
# unfinished GPT4All download. They take real space on disk, so they are allocated.
allocated() { # allocated SIZE FILE
    mkdir -p "$(dirname "$2")"
    fallocate -l "$1" "$2" 2>/dev/null || head -c "$1" /dev/zero > "$2"
}
allocated 300M "$store/blobs/sha256-e5-partial"
allocated 16M "$store/blobs/sha256-e5-partial-0"
allocated 600M "$store/blobs/sha256-f6"
allocated 200M "$home/.cache/gpt4all/incomplete-mistral-7b-openorca.Q4_0.gguf"
allocated 50M "$home/.lmstudio/models/bartowski/Qwen2.5-7B-Instruct-GGUF/Qwen2.5-7B-Instruct-Q4_K_M.gguf.part"

# Files downloaded over the past year and a half.
days=0
while IFS= read -r -d '' file; do
    touch -h -d "2026-11-01 -$((days * 23 % 540)) days" "$file"
    days=$((days + 7))
done < <(find "$home" -type f \( -name '*.gguf' -o -name '*.ckpt' -o -name '*.safetensors' -o -path '*/manifests/*' -o -path '*/blobs/*' \) ! -name '*-partial*' -print0 | sort -z)
folders=("$home/Models 9" "$home/Models 10")

if [ "$bulk" -gt 0 ]; then
    files=()
    for ((i = 0; i < bulk; i++)); do
        files+=("$home/Model Archive/batch-$((i / 100))/model-$i-q4_k_m.gguf")
    done
    for ((i = 0; i < bulk; i += 100)); do mkdir -p "$home/Model Archive/batch-$((i / 100))"; done
    printf '%s\0' "${files[@]}" | xargs -0 truncate -s 1G
    folders+=("$home/Model Archive")
fi

for folder in "${folders[@]}"; do "$cli" folders add "$folder" >/dev/null; done
# The first-run welcome has been seen; the screenshot tour shows it on its own.
printf 'hasSeenWelcomeScreen=true\n' >> "$XDG_CONFIG_HOME/Stashwell/Stashwell.conf"
echo "$home"
