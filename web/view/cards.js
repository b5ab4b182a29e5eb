/** The cards of the files that are looked at. A card stays as long as it says the same. */
import { arrange, find } from './elements.js';
import { fileCard } from './file_card.js';

/** The cards on the page by their files' keys: {card, saying}. */
let cards = new Map();

/** `marks` has the parameters of two files that are compared, {pair, parameters}, or is null. */
export function showCards(files, { marks, onRemove }) {
  const before = cards;
  cards = new Map(
    files.map((file) => {
      const parameters = marks?.parameters[marks.pair.indexOf(file)] ?? file.examination.parameters;
      const old = before.get(file.key);
      return [
        file.key,
        old?.label === file.label && old.parameters === parameters ? old : renewed(old, file, parameters),
      ];
    }),
  );
  arrange(
    find('#files'),
    [...cards.values()].map(({ card }) => card),
  );

  function renewed(old, file, parameters) {
    const card = fileCard(file, parameters, () => onRemove(file));
    // What has been opened stays open.
    card
      .querySelectorAll('details')
      .forEach((part, i) => (part.open = old?.card.querySelectorAll('details')[i]?.open ?? part.open));
    return { card, parameters, label: file.label };
  }
}
