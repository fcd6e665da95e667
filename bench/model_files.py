#!/usr/bin/env python3
"""Writes model files with real headers and sparse data, for the benchmarks and the
fixture home: GGUF files as llama.cpp's converter lays them out (a tokenizer vocabulary,
the general.* keys, one entry per tensor, the tensor data aligned after the header) and
safetensors files as the Hugging Face library writes them. The tensor data is a hole:
gigabytes on paper, nothing on disk.

  model_files.py gguf PATH [--arch llama] [--layers 32] [--embedding 4096] [--vocab 150000]
                           [--file-type 15] [--context 131072] [--name NAME] [--size-label 8B]
                           [--copies N]
  model_files.py safetensors PATH [--layers 28] [--embedding 1536] [--dtype BF16]
  model_files.py ollama-config PATH --arch llama --size-label 8.0B --quantization Q4_K_M
"""
import argparse
import json
import os
import random
import struct

# ggml tensor types: (number, elements per block, bytes per block).
TENSOR_TYPES = {"F32": (0, 1, 4), "F16": (1, 1, 2), "Q4_0": (2, 32, 18), "Q8_0": (8, 32, 34), "Q2_K": (10, 256, 84),
                "Q4_K": (12, 256, 144), "Q6_K": (14, 256, 210), "BF16": (30, 1, 2)}
# general.file_type values and the tensor type most of the weights then have.
FILE_TYPE_WEIGHTS = {1: "F16", 2: "Q4_0", 7: "Q8_0", 10: "Q2_K", 15: "Q4_K", 18: "Q6_K", 32: "BF16"}
UINT32, INT32, FLOAT32, STRING, ARRAY, UINT64 = 4, 5, 6, 8, 9, 10
ALIGNMENT = 32


def gguf_string(text):
    data = text.encode()
    return struct.pack("<Q", len(data)) + data


def gguf_pair(key, kind, value, element=None):
    out = gguf_string(key) + struct.pack("<I", kind)
    if kind == STRING:
        return out + gguf_string(value)
    if kind == UINT32:
        return out + struct.pack("<I", value)
    if kind == ARRAY:
        out += struct.pack("<IQ", element, len(value))
        if element == STRING:
            return out + b"".join(gguf_string(v) for v in value)
        code = {INT32: "i", FLOAT32: "f"}[element]
        return out + struct.pack("<%d%s" % (len(value), code), *value)
    raise ValueError(kind)


def vocabulary(size, seed=7):
    """Token texts of the lengths a byte-level vocabulary has (mostly 2 to 10 bytes)."""
    rng = random.Random(seed)
    letters = "abcdefghijklmnopqrstuvwxyz\u0120ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
    return ["".join(rng.choice(letters) for _ in range(rng.choice((1, 2, 3, 4, 5, 6, 7, 8, 10, 12))))
            + str(i % 10) for i in range(size)]


def llama_tensors(layers, embedding, vocab, weights):
    """A llama-style layout: embeddings, per layer attention and feed-forward, output."""
    feed_forward = embedding * 7 // 2 // 256 * 256
    kv = embedding // 4
    tensors = [("token_embd.weight", (embedding, vocab), weights)]
    for layer in range(layers):
        prefix = "blk.%d." % layer
        tensors += [(prefix + "attn_norm.weight", (embedding,), "F32"),
                    (prefix + "attn_q.weight", (embedding, embedding), weights),
                    (prefix + "attn_k.weight", (embedding, kv), weights),
                    (prefix + "attn_v.weight", (embedding, kv), "Q6_K" if weights == "Q4_K" else weights),
                    (prefix + "attn_output.weight", (embedding, embedding), weights),
                    (prefix + "ffn_norm.weight", (embedding,), "F32"),
                    (prefix + "ffn_gate.weight", (embedding, feed_forward), weights),
                    (prefix + "ffn_up.weight", (embedding, feed_forward), weights),
                    (prefix + "ffn_down.weight", (feed_forward, embedding), "Q6_K" if weights == "Q4_K" else weights)]
    tensors += [("output_norm.weight", (embedding,), "F32"), ("output.weight", (embedding, vocab), "Q6_K" if weights == "Q4_K" else weights)]
    return tensors


def write_gguf(path, arch="llama", layers=32, embedding=4096, vocab=150000, file_type=15, context=131072,
               name=None, size_label=None, vocab_texts=None):
    weights = FILE_TYPE_WEIGHTS[file_type]
    texts = vocab_texts if vocab_texts is not None else vocabulary(vocab)
    # The vocabulary first, as many files have it, then the general keys.
    pairs = [gguf_pair("tokenizer.ggml.model", STRING, "llama"),
             gguf_pair("tokenizer.ggml.tokens", ARRAY, texts, STRING),
             gguf_pair("tokenizer.ggml.scores", ARRAY, [0.0] * vocab, FLOAT32),
             gguf_pair("tokenizer.ggml.token_type", ARRAY, [1] * vocab, INT32),
             gguf_pair("general.architecture", STRING, arch),
             gguf_pair(arch + ".context_length", UINT32, context),
             gguf_pair(arch + ".embedding_length", UINT32, embedding),
             gguf_pair(arch + ".block_count", UINT32, layers),
             gguf_pair("general.file_type", UINT32, file_type)]
    if name:
        pairs.append(gguf_pair("general.name", STRING, name))
    if size_label:
        pairs.append(gguf_pair("general.size_label", STRING, size_label))
    tensors = llama_tensors(layers, embedding, vocab, weights)
    infos, offset = [], 0
    for tensor_name, shape, kind in tensors:
        number, block, size = TENSOR_TYPES[kind]
        elements = 1
        for dim in shape:
            elements *= dim
        infos.append(gguf_string(tensor_name) + struct.pack("<I", len(shape))
                     + struct.pack("<%dQ" % len(shape), *shape) + struct.pack("<IQ", number, offset))
        offset += (elements // block * size + ALIGNMENT - 1) // ALIGNMENT * ALIGNMENT
    header = b"GGUF" + struct.pack("<IQQ", 3, len(tensors), len(pairs)) + b"".join(pairs) + b"".join(infos)
    header += b"\0" * (-len(header) % ALIGNMENT)
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "wb") as out:
        out.write(header)
        out.truncate(len(header) + offset)


def write_safetensors(path, layers=28, embedding=1536, dtype="BF16"):
    size = {"BF16": 2, "F16": 2, "F32": 4}[dtype]
    shapes = [("model.embed_tokens.weight", [151936, embedding], dtype)]
    for layer in range(layers):
        prefix = "model.layers.%d." % layer
        intermediate = embedding * 35 // 6 // 128 * 128
        shapes += [(prefix + "input_layernorm.weight", [embedding], "F32"),
                   (prefix + "self_attn.q_proj.weight", [embedding, embedding], dtype),
                   (prefix + "self_attn.k_proj.weight", [256, embedding], dtype),
                   (prefix + "self_attn.v_proj.weight", [256, embedding], dtype),
                   (prefix + "self_attn.o_proj.weight", [embedding, embedding], dtype),
                   (prefix + "mlp.gate_proj.weight", [intermediate, embedding], dtype),
                   (prefix + "mlp.up_proj.weight", [intermediate, embedding], dtype),
                   (prefix + "mlp.down_proj.weight", [embedding, intermediate], dtype)]
    header, offset = {"__metadata__": {"format": "pt"}}, 0
    for tensor_name, shape, kind in shapes:
        elements = 1
        for dim in shape:
            elements *= dim
        length = elements * (4 if kind == "F32" else size)
        header[tensor_name] = {"dtype": kind, "shape": shape, "data_offsets": [offset, offset + length]}
        offset += length
    text = json.dumps(header, separators=(",", ":")).encode()
    text += b" " * (-len(text) % 8)
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "wb") as out:
        out.write(struct.pack("<Q", len(text)) + text)
        out.truncate(8 + len(text) + offset)


def write_ollama_config(path, family, model_type, file_type):
    """An Ollama config blob, as `ollama pull` stores it."""
    config = {"model_format": "gguf", "model_family": family, "model_families": [family], "model_type": model_type,
              "file_type": file_type, "architecture": "amd64", "os": "linux",
              "rootfs": {"type": "layers", "diff_ids": []}}
    os.makedirs(os.path.dirname(path) or ".", exist_ok=True)
    with open(path, "w") as out:
        json.dump(config, out)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("format", choices=("gguf", "safetensors", "ollama-config"))
    parser.add_argument("path")
    parser.add_argument("--arch", default="llama")
    parser.add_argument("--layers", type=int)
    parser.add_argument("--embedding", type=int)
    parser.add_argument("--vocab", type=int, default=150000)
    parser.add_argument("--file-type", type=int, default=15)
    parser.add_argument("--context", type=int, default=131072)
    parser.add_argument("--name")
    parser.add_argument("--size-label")
    parser.add_argument("--dtype", default="BF16")
    parser.add_argument("--quantization")
    parser.add_argument("--copies", type=int, default=0, help="write PATH-0.gguf ... instead of PATH")
    args = parser.parse_args()
    if args.format == "ollama-config":
        write_ollama_config(args.path, args.arch, args.size_label, args.quantization)
        return
    if args.format == "safetensors":
        write_safetensors(args.path, args.layers or 28, args.embedding or 1536, args.dtype)
        return
    texts = vocabulary(args.vocab)
    options = dict(arch=args.arch, layers=args.layers or 32, embedding=args.embedding or 4096, vocab=args.vocab,
                   file_type=args.file_type, context=args.context, name=args.name, size_label=args.size_label,
                   vocab_texts=texts)
    if args.copies:
        for i in range(args.copies):
            write_gguf("%s-%d.gguf" % (args.path, i), **options)
    else:
        write_gguf(args.path, **options)


if __name__ == "__main__":
    main()
