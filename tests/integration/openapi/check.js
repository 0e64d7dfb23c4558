// Validates OpenAPI documents: `kit_openapi_cases | node check.js`.
//
// Each line of the input is a document. Every document must be a valid OpenAPI 3.1 document whose
// references all lead somewhere. The validator must also find every fault that is planted in a document
// which has the part that the fault spoils.
import { readFileSync } from 'node:fs';
import { Validator } from '@seriousme/openapi-schema-validator';

const MINIMUM_DOCUMENTS = 4;

const methodsOf = (document) =>
    Object.values(document.paths).flatMap((path) => Object.entries(path))
        .filter(([name]) => ['get', 'put', 'post', 'delete'].includes(name))
        .map(([, method]) => method);

// Each function spoils a document, or returns false if there is nothing to spoil.
const FAULTS = {
    'paths is an array': (document) => { document.paths = []; },
    'openapi is missing': (document) => { delete document.openapi; },
    'openapi is of another version': (document) => { document.openapi = '3.9.0'; },
    'info has no title': (document) => { delete document.info.title; },
    'a path does not begin with a slash': (document) => { document.paths.relative = {}; },
    'a schema is a text': (document) => { document.components.schemas.Problem = 'text'; },
    'the name of a component has a blank': (document) => { document.components.schemas['a b'] = {}; },
    'a response has no description': (document) => {
        const method = methodsOf(document)[0];
        return method !== undefined && delete method.responses.default.description;
    },
    'a status code is a word': (document) => {
        const method = methodsOf(document)[0];
        return method !== undefined && (method.responses.often = { description: '' });
    },
    'a parameter is nowhere': (document) => {
        const parameter = methodsOf(document).flatMap((method) => method.parameters ?? [])[0];
        return parameter !== undefined && (parameter.in = 'body');
    },
    'a body has no content': (document) => {
        const body = methodsOf(document).map((method) => method.requestBody).find(Boolean);
        return body !== undefined && delete body.content;
    },
};

function referencesIn(value) {
    if (typeof value !== 'object' || value === null) {
        return [];
    }
    const own = typeof value.$ref === 'string' ? [value.$ref] : [];
    return own.concat(Object.values(value).flatMap(referencesIn));
}

function isResolved(document, reference) {
    const prefix = '#/components/schemas/';
    return reference.startsWith(prefix) &&
        Object.hasOwn(document.components.schemas, reference.slice(prefix.length));
}

const validate = async (document) => new Validator().validate(document);

let wrong = 0;
const report = (text) => { wrong += 1; console.log(text); };

const lines = readFileSync(0, 'utf8').split('\n').filter(Boolean);
const found = new Map(Object.keys(FAULTS).map((name) => [name, 0]));
let references = 0;
for (const line of lines) {
    const document = JSON.parse(line);
    const result = await validate(structuredClone(document));
    if (!result.valid) {
        report(`'${document.info.title}' is invalid: ${JSON.stringify(result.errors)}`);
    }
    for (const reference of referencesIn(document)) {
        references += 1;
        if (!isResolved(document, reference)) {
            report(`'${document.info.title}': ${reference} leads nowhere`);
        }
    }
    for (const [name, spoil] of Object.entries(FAULTS)) {
        const spoiled = structuredClone(document);
        if (spoil(spoiled) === false) {
            continue;
        }
        if ((await validate(spoiled)).valid) {
            report(`'${document.info.title}': not found: ${name}`);
        } else {
            found.set(name, found.get(name) + 1);
        }
    }
}
for (const [name, times] of found) {
    if (times === 0) {
        report(`never planted: ${name}`);
    }
}
if (lines.length < MINIMUM_DOCUMENTS) {
    report(`${lines.length} documents are too few`);
}
console.log(`${lines.length} documents, ${references} references, ${found.size} faults, ${wrong} wrong`);
process.exit(wrong === 0 ? 0 : 1);
