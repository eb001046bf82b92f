/** What the phone keeps: the computer that it is paired with, and the keys that only it has. In IndexedDB. */
import type { DeviceKeys } from "../crypto/pairingKeys";

export interface Pairing {
  channel: string;
  /** What relay and computer call this phone. */
  device: string;
  /** What the person calls it. */
  name: string;
  keys: DeviceKeys;
  /**
   * Whether relay and computer are known to have it. One that was interrupted before may be paired all the same.
   */
  isConfirmed: boolean;
}

const current = "current";
const attempted = "attempted";
const objectStore = "pairings";

/** The pairing in use; nothing before the first. @throws when the browser keeps nothing */
export function loadPairing(): Promise<Pairing | undefined> {
  return inStore("readonly", (store) => store.get(current) as IDBRequest<Pairing | undefined>);
}

/** One that was begun and not heard to have succeeded. */
export function loadAttempt(): Promise<Pairing | undefined> {
  return inStore("readonly", (store) => store.get(attempted) as IDBRequest<Pairing | undefined>);
}

/** Before the computer hears of it, so that no phone is in its list whose keys are lost. */
export async function keepAttempt(pairing: Pairing): Promise<void> {
  await inStore("readwrite", (store) => store.put(pairing, attempted));
}

/** Puts the attempt in the place of the pairing. */
export async function confirmAttempt(pairing: Pairing): Promise<Pairing> {
  const confirmed = { ...pairing, isConfirmed: true };
  await inStore("readwrite", (store) => {
    store.delete(attempted);
    return store.put(confirmed, current);
  });
  // So that the browser does not clear it when space gets short; it may refuse.
  void navigator.storage?.persist?.();
  return confirmed;
}

export async function dropAttempt(): Promise<void> {
  await inStore("readwrite", (store) => store.delete(attempted));
}

/** Forgets everything. */
export async function forgetPairing(): Promise<void> {
  await inStore("readwrite", (store) => store.clear());
}

async function inStore<Value>(
  mode: IDBTransactionMode,
  act: (store: IDBObjectStore) => IDBRequest<Value>,
): Promise<Value> {
  const database = await open();
  try {
    const transaction = database.transaction(objectStore, mode, { durability: "strict" });
    const request = act(transaction.objectStore(objectStore));
    await new Promise<void>((resolve, reject) => {
      transaction.oncomplete = () => resolve();
      transaction.onabort = () => reject(transaction.error);
    });
    return request.result;
  } finally {
    database.close();
  }
}

function open(): Promise<IDBDatabase> {
  return new Promise((resolve, reject) => {
    const request = indexedDB.open("tamsell", 1);
    request.onupgradeneeded = () => request.result.createObjectStore(objectStore);
    request.onsuccess = () => resolve(request.result);
    request.onerror = () => reject(request.error);
    request.onblocked = () => reject(new Error("another page holds the storage"));
  });
}
