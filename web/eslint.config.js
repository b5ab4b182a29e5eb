import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  {
    languageOptions: { globals: { ...globals.browser, WebAssembly: 'readonly' } },
    rules: {
      curly: 'error',
      eqeqeq: 'error',
      'max-lines': ['error', 300],
      'no-shadow': 'error',
      'no-var': 'error',
      'object-shorthand': 'error',
      'prefer-const': 'error',
    },
  },
];
