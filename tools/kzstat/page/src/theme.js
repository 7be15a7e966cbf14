// Light or dark, as the system has it unless the reader chooses.

const THEMES = ['auto', 'light', 'dark'];
// When the dark colours are laid over the light ones.
const MEDIA = {auto: '(prefers-color-scheme: dark)', light: 'not all', dark: 'all'};
const dark = document.getElementById('dark');
const KEY = 'kzstat-theme';

// A page opened from disk may be denied a memory.
function remembered() {
  try {
    return localStorage.getItem(KEY) ?? 'auto';
  } catch {
    return 'auto';
  }
}

function remember(theme) {
  try {
    localStorage.setItem(KEY, theme);
  } catch {
    // Chosen for this visit only.
  }
}

export function offerThemes(button, onChanged) {
  let theme = remembered();
  const apply = () => {
    dark.media = MEDIA[theme];
    button.textContent = `Theme: ${theme}`;
  };
  apply();
  button.addEventListener('click', () => {
    theme = THEMES[(THEMES.indexOf(theme) + 1) % THEMES.length];
    remember(theme);
    apply();
    onChanged();
  });
  matchMedia('(prefers-color-scheme: dark)').addEventListener('change', onChanged);
}

function tellLeftOut(names) {
  const element = document.getElementById('left-out');
  element.hidden = names.length === 0;
  element.textContent = `Left out: the charts of ${names.length} names, which were folded or filtered when this was printed.`;
}

// Paper is white. `showAgain` draws what is shown in the colours of the theme.
export function offerPrinting(charts, showAgain) {
  const root = document.documentElement;
  const facts = document.querySelector('.facts');
  let media;
  let wereFactsOpen;
  addEventListener('beforeprint', () => {
    media = dark.media;
    dark.media = MEDIA.light;
    root.classList.add('printing');
    wereFactsOpen = facts.open;
    facts.open = true;
    showAgain();
    tellLeftOut(charts.drawForPaper());
  });
  addEventListener('afterprint', () => {
    dark.media = media;
    root.classList.remove('printing');
    facts.open = wereFactsOpen;
    charts.drawNear();
    tellLeftOut([]);
    showAgain();
  });
}
