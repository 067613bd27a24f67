package kora.data.cli;

import java.io.PrintStream;
import java.nio.file.Path;
import kora.data.distributed.common.KvManager;

/** A scope within another, which has a store of its own. */
abstract class InnerScope implements StoreScope {
  private final StoreScope outer;

  InnerScope(StoreScope outer) {
    this.outer = outer;
  }

  @Override
  public final KvManager manager() {
    return outer.manager();
  }

  @Override
  public final PrintStream out() {
    return outer.out();
  }

  @Override
  public final String appName() {
    return outer.appName();
  }

  @Override
  public final String storeName() {
    return outer.storeName();
  }

  @Override
  public final Path folder() {
    return outer.folder();
  }
}
