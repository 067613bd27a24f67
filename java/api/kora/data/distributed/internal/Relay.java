package kora.data.distributed.internal;

import java.util.concurrent.atomic.AtomicInteger;
import java.util.function.Consumer;

/**
 * Stands between native code, which keeps every listener for the life of the process, and a program's
 * listener, which can be collected once the relay's link to it is cut.
 */
public abstract class Relay<T> {
  private static final AtomicInteger SERVICE_LIVES = new AtomicInteger();

  private final boolean endsWithService;
  private volatile int serviceLife = SERVICE_LIVES.get();
  private volatile T target;

  /**
   * Relays to a target.
   *
   * @param endsWithService whether native code forgets the relay when the service dies; what still reaches it then
   *     is told to its successor as well, which a program may have registered since
   */
  Relay(T target, boolean endsWithService) {
    this.target = target;
    this.endsWithService = endsWithService;
  }

  /** Calls the target. Returns false if there is none any more. */
  final boolean deliver(Consumer<T> call) {
    T listener = target;
    if (listener == null || hasEnded()) {
      return false;
    }
    Callbacks.run(() -> call.accept(listener));
    return true;
  }

  /** Belongs to the service as it lives now. */
  final void begin() {
    serviceLife = SERVICE_LIVES.get();
  }

  final void cut() {
    target = null;
  }

  /** Whether it has ended with the service. */
  final boolean hasEnded() {
    return endsWithService && serviceLife != SERVICE_LIVES.get();
  }

  static void serviceDied() {
    SERVICE_LIVES.incrementAndGet();
  }
}
