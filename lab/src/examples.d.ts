interface Example {
  name: string;
  text: string;
}

declare module "examples:payloads" {
  const payloads: { good: Example[]; broken: Example[] };
  export default payloads;
}

declare module "examples:scenarios" {
  const scenarios: Example[];
  export default scenarios;
}

declare module "*.css";
