#!/usr/bin/env python3
"""Packs the page, its style, its programs and the compiled library into one HTML file that needs no other."""
import argparse
import base64
import gzip
import hashlib
import html
import os
import re

from debian.copyright import Copyright


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


def notices(path):
    """What is to be said of the code of others that is in the page, by the paragraph for the page and its licences."""
    with open(path, encoding='utf-8') as file:
        copyright = Copyright(file)
    [page] = [part for part in copyright.all_files_paragraphs() if 'calibmap.html' in ' '.join(part.files)]
    texts = {part.license.synopsis: part.license.text for part in copyright.all_license_paragraphs()}
    names = page.license.synopsis.split(' and ')
    parts = ['Copyright ' + page.copyright, page.comment, *(f'{name}\n{texts[name]}' for name in names)]
    return html.escape('\n\n'.join(parts).replace('\n ', '\n'))


def inserted(page, place, text):
    """The page with a text where it names a place for it."""
    if page.count(f'@{place}@') != 1:
        raise SystemExit(f'the page needs one place for {place}')
    return page.replace(f'@{place}@', text)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    for part in ('page', 'style', 'program', 'worker', 'library', 'notices', 'version'):
        parser.add_argument(f'--{part}', required=True)
    parser.add_argument('-o', '--output', required=True)
    parts = parser.parse_args()
    page = content(parts.page)
    texts = {'STYLE': content(parts.style), 'PROGRAM': content(parts.program), 'WORKER': content(parts.worker),
             'LIBRARY': base64.b64encode(gzip.compress(content(parts.library, binary=True), mtime=0)).decode(),
             'NOTICES': notices(parts.notices), 'VERSION': parts.version}
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
