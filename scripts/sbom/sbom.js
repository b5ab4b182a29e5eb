// sbom.js VERSION SECONDS: what is linked, by the lines of linked.sh on standard input, as a CycloneDX document on
// standard output. SECONDS is the time of the release, so that one release has one document.
import { createHash } from 'node:crypto'
import { readFileSync } from 'node:fs'
import { basename } from 'node:path'
import { Enums, Models, Serialize, Spec, Validation } from '@cyclonedx/cyclonedx-library'
import { PackageURL } from 'packageurl-js'

const [version, seconds] = process.argv.slice(2)
const debian = new Models.OrganizationalEntity({ name: 'Debian' })
const ours = new Models.OrganizationalEntity({ name: 'calibmap maintainers' })

const product = new Models.Component(Enums.ComponentType.Application, 'calibmap', {
  bomRef: 'calibmap',
  supplier: ours,
  version,
})
const bom = new Models.Bom({
  metadata: new Models.Metadata({ component: product, supplier: ours, timestamp: new Date(seconds * 1000) }),
})
const components = new Map()

// component(<reference>, <make>): the one component of that reference, made when it is first asked for.
function component(reference, make) {
  if (!components.has(reference)) {
    components.set(reference, make())
    bom.components.add(components.get(reference))
  }
  return components.get(reference)
}

function handedOut(path) {
  const sha256 = createHash('sha256').update(readFileSync(path)).digest('hex')
  return component(basename(path), () => {
    const made = new Models.Component(Enums.ComponentType.File, basename(path), {
      bomRef: basename(path),
      hashes: new Models.HashDictionary([[Enums.HashAlgorithm['SHA-256'], sha256]]),
      supplier: ours,
      version,
    })
    product.dependencies.add(made.bomRef)
    return made
  })
}

function debianPackage(name, version, arch, source) {
  const purl = new PackageURL('deb', 'debian', name, version, { arch }).toString()
  return component(purl, () => {
    const properties = new Models.PropertyRepository([new Models.Property('debian:source', source)])
    const options = { bomRef: purl, properties, purl, supplier: debian, version }
    return new Models.Component(Enums.ComponentType.Library, name, options)
  })
}

for (const line of readFileSync(0, 'utf8').trimEnd().split('\n')) {
  const [path, how, ...package_] = line.split('\t')
  const part = debianPackage(...package_)
  const whole = handedOut(path)
  whole.dependencies.add(part.bomRef)
  whole.properties.add(new Models.Property(`calibmap:${how}`, package_[0]))
}

const serializer = new Serialize.JsonSerializer(new Serialize.JSON.Normalize.Factory(Spec.Spec1dot6))
const document = serializer.serialize(bom, { sortLists: true, space: 2 })
const fault = await new Validation.JsonStrictValidator(Spec.Spec1dot6.version).validate(document)
if (fault !== null) {
  throw new Error(`not a CycloneDX document: ${JSON.stringify(fault)}`)
}
console.log(document)
