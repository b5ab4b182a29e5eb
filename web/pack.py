#!/usr/bin/env python3
"""Packs the page, its style, its programs and the compiled library into one HTML file that needs no other."""
import argparse
import base64
import gzip
import hashlib
import os
import re


def content(path, binary=False):
    with open(path, 'rb') as file:
        data = file.read()
    return data if binary else data.decode()


def digest(text):
    return "'sha256-" + base64.b64encode(hashlib.sha256(text.encode()).digest()).decode() + "'"


def policy(page):
    """Only this program runs and only this style counts; nothing is fetched, nothing is sent."""
    [style] = re.findall('<style>(.*?)</style>', page, re.DOTALL)
    [program] = re.findall('<script type="module">(.*?)</script>', page, re.DOTALL)
    return '; '.join([
        "default-src 'none'", f"script-src {digest(program)} 'wasm-unsafe-eval'", 'worker-src blob:',
        f'style-src {digest(style)}', 'img-src blob:', "base-uri 'none'", "form-action 'none'"])


def inserted(page, place, text):
    """The page with a text where it names a place for it."""
    if page.count(f'@{place}@') != 1:
        raise SystemExit(f'the page needs one place for {place}')
    return page.replace(f'@{place}@', text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for part in ('page', 'style', 'program', 'worker', 'library', 'version'):
        parser.add_argument(f'--{part}', required=True)
    parser.add_argument('-o', '--output', required=True)
    parts = parser.parse_args()
    page = content(parts.page)
    texts = {'STYLE': content(parts.style), 'PROGRAM': content(parts.program), 'WORKER': content(parts.worker),
             'LIBRARY': base64.b64encode(gzip.compress(content(parts.library, binary=True), mtime=0)).decode(), 'VERSION': parts.version}
    for place, text in texts.items():
        if '</s' in text.lower():
            raise SystemExit(f'{place} would end its own element')
        page = inserted(page, place, text)
    page = inserted(page, 'POLICY', policy(page))
    with open(parts.output, 'w', encoding='utf-8') as file:
        file.write(page)
    limit = 200_000
    size = os.path.getsize(parts.output)
    if size > limit:
        raise SystemExit(f'{parts.output} has {size} bytes, more than {limit}')
    print(f'{parts.output}: {size} bytes')


if __name__ == '__main__':
    main()
