#!/usr/bin/env python3
"""Writes the demo game build of Valdren, version 1 or 2, into a folder.

The build is small (about 9 MB) but has what a real one has: text, binaries, a large pack file that
gets a block variant, nested folders and non-ASCII file names. Version 2 changes some of it the way
a real patch does: edited text, a rebuilt executable, a few blocks of the pack rewritten in place and
one region moved, a new file. The content is the same on every run (fixed seeds), so published
channels are reproducible.

usage: make_demo_build.py 1|2 OUTPUT_FOLDER
"""
import os
import random
import sys

BLOCK = 256 * 1024  # the pack's edits are laid out in whole blocks of the publisher's default size


def words(rng, count):
    vocab = ("valdren espada escudo torre dragão ferreiro taverna cidade muralha floresta rio ponte "
             "guilda missão ouro prata bronze mapa norte sul leste oeste rei rainha cavaleiro mago").split()
    return " ".join(rng.choice(vocab) for _ in range(count))


def pack_bytes(rng, size):
    """Game-asset-like data: records with repeats (compressible) mixed with noise."""
    out = bytearray()
    while len(out) < size:
        kind = rng.random()
        if kind < 0.5:
            out += (words(rng, 12) + "\n").encode()
        elif kind < 0.8:
            out += bytes([rng.randrange(256)]) * rng.randrange(16, 256)
        else:
            out += rng.randbytes(rng.randrange(64, 512))
    return bytes(out[:size])


def build(version):
    rng = random.Random(20261121)
    files = {}
    files["LEIAME.txt"] = ("Valdren — versão de demonstração\n\n" + words(rng, 400) + "\n").encode()
    files["Conteúdo/Configuração/padrões.ini"] = (
        "[Jogo]\nIdioma=pt-BR\nServidor=demo\n" + "".join(f"Opcao{i}={i * 7}\n" for i in range(200))).encode()
    files["Conteudo/Audio/música_tema.ogg"] = rng.randbytes(512 * 1024)
    exe_rng = random.Random(1000 + version)
    files["ORV2.exe"] = b"MZ" + pack_bytes(exe_rng, 1024 * 1024 - 2)
    pack = bytearray(pack_bytes(rng, 24 * BLOCK))  # 6 MiB
    notes = ["Notas da versão 1.0.0: primeira versão.\n"]

    if version >= 2:
        patch = random.Random(2)
        for block in (3, 10, 11, 19):  # a few blocks rewritten in place
            pack[block * BLOCK:(block + 1) * BLOCK] = pack_bytes(patch, BLOCK)
        # One region moved: blocks 5..6 now also appear at 21..22 (found again by the delta).
        pack[21 * BLOCK:23 * BLOCK] = pack[5 * BLOCK:7 * BLOCK]
        files["LEIAME.txt"] += ("\nNovidades: " + words(patch, 60) + "\n").encode()
        files["Conteudo/Mapas/ilha_nova.umap"] = pack_bytes(patch, 300 * 1024)
        notes.append("Notas da versão 2.0.0: ilha nova, correções no mapa.\n")

    files["Conteudo/Paks/mundo.pak"] = bytes(pack)
    files["Notas da versão.txt"] = "".join(notes).encode()
    return files


def main():
    if len(sys.argv) != 3 or sys.argv[1] not in ("1", "2"):
        sys.exit(__doc__)
    out = sys.argv[2]
    for relative, data in build(int(sys.argv[1])).items():
        path = os.path.join(out, *relative.split("/"))
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as f:
            f.write(data)


if __name__ == "__main__":
    main()
